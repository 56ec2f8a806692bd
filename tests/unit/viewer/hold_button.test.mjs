import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { HoldButton } from '../../../companion/viewer/hold_button.js';
import { FakeClock } from './fake_world.mjs';

let clock, button, log;

beforeEach(() => {
  clock = new FakeClock();
  button = new EventTarget();
  log = [];
});

function make(everyMs) {
  return new HoldButton(
    button, { tap: () => log.push('tap'), hold: () => log.push('hold'), everyMs }, clock);
}

const happen = (type) => button.dispatchEvent(new Event(type, { cancelable: true }));

test('a tap is a tap', () => {
  make(50);
  happen('pointerdown');
  happen('pointerup');
  happen('click');
  clock.advance(60000);
  assert.deepEqual(log, ['tap']);
});

test('a key that is held repeats until it is let go, and was no tap', () => {
  make(50);
  happen('pointerdown');
  clock.advance(500);
  const repeats = log.length;
  assert.ok(repeats > 1 && log.every((word) => word === 'hold'), String(log));
  happen('pointerup');
  happen('click');
  clock.advance(60000);
  assert.equal(log.length, repeats);
  happen('pointerdown');
  happen('pointerup');
  happen('click');
  assert.equal(log.at(-1), 'tap');
});

test('without repetition holding acts once', () => {
  make(null);
  happen('pointerdown');
  clock.advance(60000);
  assert.deepEqual(log, ['hold']);
});

for (const ending of ['pointercancel', 'pointerleave']) {
  test(`${ending}, as when the row scrolls, ends it without a tap`, () => {
    make(50);
    happen('pointerdown');
    happen(ending);
    clock.advance(60000);
    assert.deepEqual(log, []);
  });
}

test('a row that goes away under the finger stops it', () => {
  const held = make(50);
  happen('pointerdown');
  clock.advance(1000);
  const repeats = log.length;
  held.stop();
  clock.advance(60000);
  assert.equal(log.length, repeats);
});

test('assistive technology clicks without a pointer', () => {
  make(50);
  happen('click');
  assert.deepEqual(log, ['tap']);
});

test('the focus stays where it is', () => {
  make(50);
  assert.equal(happen('mousedown'), false);
});
