import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { Keyboard } from '../../../companion/viewer/keyboard.js';
import { modifierFlags, virtualKey } from '../../../companion/viewer/key_codes.js';
import { FakeControl, keyEvent } from './fake_world.mjs';

let control, keyboard;

beforeEach(() => {
  control = new FakeControl();
  keyboard = new Keyboard(control);
});

const down = (...parts) => keyboard.keyDown(keyEvent(...parts));
const up = (...parts) => keyboard.keyUp(keyEvent(...parts));
const sent = (...expected) => assert.deepEqual(control.take(), expected);

test('printable keys are sent as the text they make here', () => {
  assert.equal(down('z', 'KeyY'), true);
  assert.equal(up('z', 'KeyY'), false);
  down('ü', 'BracketLeft');
  down(' ', 'Space');
  down('5', 'Numpad5');
  sent('k z', 'k ü', 'k  ', 'k 5');
});

test('other keys are sent as keys, down and up', () => {
  for (const [key, code, hex] of [
    ['ArrowLeft', 'ArrowLeft', '7b'], ['Enter', 'Enter', '24'], ['Backspace', 'Backspace', '33'],
    ['Escape', 'Escape', '35'], ['F5', 'F5', '60'], ['Tab', 'Tab', '30'],
  ]) {
    down(key, code);
    up(key, code);
    sent(`key ${hex} down`, `key ${hex} up`);
  }
});

test('a shortcut is the key itself, with its flags and its modifier held', () => {
  down('Control', 'ControlLeft', ['Control']);
  down('a', 'KeyA', ['Control']);
  up('a', 'KeyA', ['Control']);
  up('Control', 'ControlLeft');
  sent('key 3b down', 'key 0 down 40000', 'key 0 up 40000', 'key 3b up');
});

test('a held key is sent again with every repeat, as text and as key', () => {
  down('x', 'KeyX');
  down('x', 'KeyX', [], { repeat: true });
  down('ArrowDown', 'ArrowDown');
  down('ArrowDown', 'ArrowDown', [], { repeat: true });
  up('ArrowDown', 'ArrowDown');
  sent('k x', 'k x', 'key 7d down', 'key 7d down', 'key 7d up');
});

test('a modifier is sent once, however often it repeats', () => {
  down('Shift', 'ShiftLeft', ['Shift']);
  down('Shift', 'ShiftLeft', ['Shift'], { repeat: true });
  up('Shift', 'ShiftLeft');
  sent('key 38 down', 'key 38 up');
});

test('Shift is let go before the capital it made, and held again for the next key', () => {
  down('Shift', 'ShiftLeft', ['Shift']);
  down('A', 'KeyA', ['Shift']);
  sent('key 38 down', 'key 38 up', 'k A');
  down('ArrowLeft', 'ArrowLeft', ['Shift']);
  sent('key 38 down', 'key 7b down 20000');
  up('ArrowLeft', 'ArrowLeft', ['Shift']);
  up('Shift', 'ShiftLeft');
  sent('key 7b up 20000', 'key 38 up');
});

test('a press finds the modifiers held that the person holds', () => {
  down('Shift', 'ShiftLeft', ['Shift']);
  down('A', 'KeyA', ['Shift']);
  control.take();
  keyboard.engage();
  sent('key 38 down');
});

test('what the third level makes is text, and its key stays here', () => {
  down('AltGraph', 'AltRight', ['AltGraph']);
  down('@', 'KeyQ', ['AltGraph']);
  up('AltGraph', 'AltRight');
  sent('k @');
});

test('the third level as Windows reports it, with Control, is text too', () => {
  down('Control', 'ControlLeft', ['Control']);
  down('AltGraph', 'AltRight', ['Control', 'Alt', 'AltGraph']);
  down('@', 'KeyQ', ['Control', 'Alt', 'AltGraph']);
  sent('key 3b down', 'key 3b up', 'k @');
});

test('Alt and a letter is a shortcut', () => {
  down('Alt', 'AltLeft', ['Alt']);
  down('f', 'KeyF', ['Alt']);
  sent('key 3a down', 'key 3 down 80000');
});

test('on a Macintosh Option and a letter is text, and Option with an arrow is a shortcut', () => {
  keyboard = new Keyboard(control, { isMac: true });
  down('Alt', 'AltLeft', ['Alt']);
  down('å', 'KeyA', ['Alt']);
  sent('k å');
  down('ArrowLeft', 'ArrowLeft', ['Alt']);
  up('ArrowLeft', 'ArrowLeft', ['Alt']);
  up('Alt', 'AltLeft');
  sent('key 3a down', 'key 7b down 80000', 'key 7b up 80000', 'key 3a up');
});

test('letting Command go lifts the keys whose release the browser swallowed', () => {
  down('Meta', 'MetaLeft', ['Meta']);
  down('c', 'KeyC', ['Meta']);
  up('Meta', 'MetaLeft');
  sent('key 37 down', 'key 8 down 100000', 'key 8 up', 'key 37 up');
});

test('the caps lock stays here: it is in the text already', () => {
  assert.equal(down('CapsLock', 'CapsLock', ['CapsLock']), true);
  up('CapsLock', 'CapsLock');
  down('A', 'KeyA', ['CapsLock']);
  sent('k A');
});

for (const [what, event] of [
  ['a dead key', keyEvent('Dead', 'Quote')],
  ['a key of a composition', keyEvent('a', 'KeyA', [], { isComposing: true })],
  ['a key an input method takes', keyEvent('Process', 'KeyA')],
  ['a phone’s unnamed key', keyEvent('Unidentified', '')],
  ['an event without a key', { ...keyEvent(undefined, undefined) }],
]) {
  test(`${what} is left to the text field`, () => {
    assert.equal(keyboard.keyDown(event), false);
    sent();
  });
}

test('a key whose meaning changes while it is held is let go as what it was', () => {
  down('ArrowUp', 'Numpad8');
  up('8', 'Numpad8');
  sent('key 7e down', 'key 7e up');
});

test('losing the focus lifts everything held', () => {
  down('Control', 'ControlLeft', ['Control']);
  down('ArrowRight', 'ArrowRight', ['Control']);
  control.take();
  keyboard.releaseAll();
  sent('key 7c up', 'key 3b up');
  keyboard.releaseAll();
  sent();
  assert.equal(up('ArrowRight', 'ArrowRight'), false);
});

test('line ends and tabs of pasted text become keys', () => {
  keyboard.type('a\r\nb\tc\n');
  sent('k a', 'key 24 down', 'key 24 up', 'k b', 'key 30 down', 'key 30 up', 'k c',
    'key 24 down', 'key 24 up');
});

test('a long text is sent in pieces that break no character', () => {
  keyboard.type('😀'.repeat(1500));
  const [first, second, ...rest] = control.take();
  assert.equal(first, `k ${'😀'.repeat(1000)}`);
  assert.equal(second, `k ${'😀'.repeat(500)}`);
  assert.deepEqual(rest, []);
});

test('flags name every modifier that is held', () => {
  assert.equal(modifierFlags(keyEvent('a', 'KeyA', ['Shift', 'Control', 'Alt', 'Meta'])), 0x1e0000);
  assert.equal(modifierFlags(keyEvent('a', 'KeyA', ['CapsLock'])), 0x10000);
  assert.equal(modifierFlags(keyEvent('a', 'KeyA')), 0);
});

test('keys are known by their place, and by their name where the place is missing', () => {
  assert.equal(virtualKey({ code: 'KeyA', key: 'q' }), 0x00);
  assert.equal(virtualKey({ code: 'IntlBackslash', key: '<' }), 0x0a);
  assert.equal(virtualKey({ code: 'NumpadEnter', key: 'Enter' }), 0x4c);
  assert.equal(virtualKey({ code: 'Numpad7', key: 'Home' }), 0x73);
  assert.equal(virtualKey({ code: '', key: 'Enter' }), 0x24);
  assert.equal(virtualKey({ code: 'LaunchMail', key: 'LaunchMail' }), undefined);
});

test('no two keys of a keyboard share a code', () => {
  const places = [
    ...'ABCDEFGHIJKLMNOPQRSTUVWXYZ'].map((letter) => `Key${letter}`).concat(
    [...'0123456789'].flatMap((digit) => [`Digit${digit}`, `Numpad${digit}`]),
    Array.from({ length: 20 }, (_, index) => `F${index + 1}`),
    ['Equal', 'Minus', 'BracketLeft', 'BracketRight', 'Quote', 'Semicolon', 'Backslash', 'Comma',
      'Slash', 'Period', 'Backquote', 'IntlBackslash', 'IntlYen', 'IntlRo', 'Enter', 'Tab', 'Space',
      'Backspace', 'Escape', 'Delete', 'Insert', 'Home', 'End', 'PageUp', 'PageDown', 'ArrowLeft',
      'ArrowRight', 'ArrowUp', 'ArrowDown', 'ContextMenu', 'ShiftLeft', 'ShiftRight', 'ControlLeft',
      'ControlRight', 'AltLeft', 'AltRight', 'MetaLeft', 'MetaRight', 'CapsLock', 'NumLock',
      'NumpadDecimal', 'NumpadMultiply', 'NumpadAdd', 'NumpadDivide', 'NumpadEnter',
      'NumpadSubtract', 'NumpadEqual', 'NumpadComma']);
  const codes = places.map((code) => virtualKey({ code, key: '' }));
  assert.ok(codes.every((code) => Number.isInteger(code) && code >= 0 && code < 0x80));
  assert.equal(new Set(codes).size, places.length);
});

test('what a phone can correct is left to the text field', () => {
  keyboard = new Keyboard(control, { fieldWants: () => true });
  for (const [key, code] of [['a', ''], ['a', 'KeyA'], ['Backspace', ''], ['Enter', 'Enter']]) {
    assert.equal(down(key, code), false, key);
  }
  sent();
  assert.equal(down('ArrowLeft', ''), true);
  assert.equal(down('a', 'KeyA', ['Control']), true);
  assert.equal(down('Backspace', 'Backspace', ['Control']), true);
  sent('key 7b down', 'key 0 down 40000', 'key 33 down 40000');
});

test('the key that ended a composition is not typed as well', () => {
  assert.equal(down('Enter', 'Enter', [], { keyCode: 229 }), false);
  sent();
});
