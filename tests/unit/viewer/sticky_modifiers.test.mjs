import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { Keyboard } from '../../../companion/viewer/keyboard.js';
import { virtualKey } from '../../../companion/viewer/key_codes.js';
import { keyFor } from '../../../companion/viewer/key_places.js';
import { FakeControl, keyEvent } from './fake_world.mjs';

let control, keyboard, sticky, changes;
let now = 0;

beforeEach(() => {
  control = new FakeControl();
  keyboard = new Keyboard(control);
  sticky = keyboard.sticky;
  changes = 0;
  sticky.changed = () => {
    changes += 1;
  };
});

const sent = (...expected) => assert.deepEqual(control.take(), expected);

function tap(name, after = 1000) {
  now += after;
  sticky.tap(name, now);
}

function lock(name) {
  tap(name);
  tap(name, 200);
}

test('a tap is for one key, a double tap for all, and another tap for none', () => {
  assert.equal(sticky.state('Control'), 'off');
  tap('Control');
  assert.equal(sticky.state('Control'), 'next');
  tap('Control', 200);
  assert.equal(sticky.state('Control'), 'locked');
  tap('Control', 200);
  assert.equal(sticky.state('Control'), 'off');
  tap('Control');
  tap('Control');
  assert.equal(sticky.state('Control'), 'off', 'two taps far apart');
  assert.equal(changes, 5);
  sent();
});

test('Control and a letter from the phone are that shortcut, and the next letter is text', () => {
  tap('Control');
  assert.equal(keyboard.edit(0, 'a'), false);
  sent('key 3b down', 'key 0 down 40000', 'key 0 up 40000', 'key 3b up');
  assert.equal(sticky.state('Control'), 'off');
  assert.equal(keyboard.edit(0, 'a'), true);
  sent('k a');
});

test('a locked modifier is held until it is taken off', () => {
  lock('Control');
  keyboard.edit(0, 'c');
  keyboard.edit(0, 'v');
  sent('key 3b down', 'key 8 down 40000', 'key 8 up 40000', 'key 9 down 40000', 'key 9 up 40000');
  tap('Control');
  sent('key 3b up');
});

test('several modifiers, and a capital, come together', () => {
  tap('Control');
  tap('Alt');
  keyboard.edit(0, 'T');
  sent('key 3b down', 'key 3a down', 'key 11 down e0000', 'key 11 up e0000', 'key 3b up', 'key 3a up');
});

test('Shift alone makes capitals of text, and selects with the arrows', () => {
  lock('Shift');
  assert.equal(keyboard.edit(0, 'äß1'), true);
  sent('k Ä', 'k ß', 'k 1');
  keyboard.stroke(virtualKey({ code: 'ArrowLeft' }));
  sent('key 38 down', 'key 7b down 20000', 'key 7b up 20000');
});

test('Shift for one key makes a capital of a swiped word’s first letter', () => {
  tap('Shift');
  keyboard.edit(0, 'hello');
  sent('k H', 'k ello');
});

test('Backspace and Return take the modifiers too', () => {
  tap('Control');
  assert.equal(keyboard.edit(1, ''), false);
  sent('key 3b down', 'key 33 down 40000', 'key 33 up 40000', 'key 3b up');
  tap('Shift');
  assert.equal(keyboard.edit(0, '\n'), false);
  sent('key 38 down', 'key 24 down 20000', 'key 24 up 20000', 'key 38 up');
});

test('a character without a key is text', () => {
  tap('Control');
  keyboard.edit(0, '你');
  sent('k 你');
  assert.equal(sticky.isOn, false);
});

test('a correction is no shortcut', () => {
  tap('Control');
  assert.equal(keyboard.edit(2, 'he'), true);
  sent('key 33 down', 'key 33 up', 'key 33 down', 'key 33 up', 'k he');
  assert.equal(sticky.state('Control'), 'next');
});

test('a press on the picture finds the modifier held', () => {
  tap('Control');
  keyboard.engage();
  sent('key 3b down');
  tap('Control');
  sent('key 3b up');
});

test('a key of a hardware keyboard takes them as well', () => {
  tap('Alt');
  keyboard.keyDown(keyEvent('F4', 'F4'));
  keyboard.keyUp(keyEvent('F4', 'F4'));
  sent('key 3a down', 'key 76 down 80000', 'key 3a up', 'key 76 up');
});

test('leaving takes them off', () => {
  lock('Shift');
  tap('Control');
  keyboard.engage();
  sent('key 38 down', 'key 3b down');
  keyboard.releaseAll();
  sent('key 38 up', 'key 3b up');
  assert.equal(sticky.isOn, false);
});

test('characters are found on the keyboard', () => {
  const key = (code, shift = false) => ({ code: virtualKey({ code }), shift });
  for (const [character, expected] of [
    ['a', key('KeyA')], ['Z', key('KeyZ', true)], ['0', key('Digit0')], ['=', key('Equal')],
    ['+', key('Equal', true)], ['?', key('Slash', true)], ['\\', key('Backslash')],
    [' ', key('Space')], ['\n', key('Enter')], ['\t', key('Tab')], ['é', null], ['😀', null],
  ]) {
    assert.deepEqual(keyFor(character), expected, character);
  }
});

test('letters are where the keyboards of the phone’s language have them', () => {
  const place = (character, language) => keyFor(character, language);
  const key = (code, shift = false) => ({ code: virtualKey({ code }), shift });
  assert.deepEqual(place('z', 'en-GB'), key('KeyZ'));
  assert.deepEqual(place('z', 'de-AT'), key('KeyY'));
  assert.deepEqual(place('Y', 'de'), key('KeyZ', true));
  assert.deepEqual(place('+', 'de'), key('BracketRight'));
  assert.deepEqual(place('=', 'de'), key('Digit0', true));
  assert.deepEqual(place('a', 'fr-FR'), key('KeyQ'));
  assert.deepEqual(place('A', 'fr'), key('KeyQ', true));
  assert.deepEqual(place('q', 'fr'), key('KeyA'));
  assert.deepEqual(place('.', 'fr'), key('Comma', true));
  assert.deepEqual(place('z', 'fr-CH'), key('KeyY'));
  assert.deepEqual(place('a', 'fr-CA'), key('KeyA'));
  assert.deepEqual(place('a', 'fry'), key('KeyA'));
});

test('a shortcut goes to the key of the phone’s language', () => {
  keyboard = new Keyboard(control, { language: 'fr-FR' });
  keyboard.sticky.tap('Control', 0);
  keyboard.edit(0, 'a');
  sent('key 3b down', 'key c down 40000', 'key c up 40000', 'key 3b up');
});
