import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { Control } from '../../../companion/viewer/control.js';
import { Cursor } from '../../../companion/viewer/cursor.js';
import { Pointer } from '../../../companion/viewer/pointer.js';
import { FakeControl } from './fake_world.mjs';

const kLeft = 1;
const kRight = 2;
const kMiddle = 4;

let control, target, engaged;

// The picture fills a window of 100 by 100; beyond 0 and 100 lie the bars.
function locate({ x, y }) {
  const clamp = (value) => Math.min(Math.max(value, 0), 100) / 100;
  return { x: clamp(x), y: clamp(y), onPicture: x >= 0 && x <= 100 && y >= 0 && y <= 100 };
}

class FakeTarget {
  listeners = {};
  addEventListener(type, listener) {
    this.listeners[type] = listener;
  }

  sees(type, x, y, buttons, more = {}) {
    this.listeners[type]({
      type, clientX: x, clientY: y, buttons, pointerId: 1, preventDefault() {}, ...more,
    });
  }
}

beforeEach(() => {
  control = new FakeControl();
  target = new FakeTarget();
  engaged = 0;
  new Pointer(new Cursor(control, () => (engaged += 1)), locate).attach(target);
});

const sent = (...expected) => assert.deepEqual(control.take(), expected);

test('a click is a move, a press and a release, in that order', () => {
  target.sees('pointerdown', 50, 25, kLeft);
  target.sees('pointerup', 50, 25, 0);
  sent('m 0.5,0.25', 'p0', 'm 0.5,0.25', 'r0');
});

test('the buttons get the host’s numbers: right 1, middle 2', () => {
  target.sees('pointerdown', 0, 0, kRight);
  target.sees('pointerup', 0, 0, 0);
  target.sees('pointerdown', 0, 0, kMiddle);
  target.sees('pointerup', 0, 0, 0);
  sent('m 0,0', 'p1', 'm 0,0', 'r1', 'm 0,0', 'p2', 'm 0,0', 'r2');
});

test('a second button pressed during a drag, which comes as a move, is pressed and released', () => {
  target.sees('pointerdown', 10, 10, kLeft);
  target.sees('pointermove', 20, 20, kLeft | kRight);
  target.sees('pointermove', 20, 20, kLeft);
  target.sees('pointerup', 20, 20, 0);
  sent('m 0.1,0.1', 'p0', 'm 0.2,0.2', 'p1', 'm 0.2,0.2', 'r1', 'm 0.2,0.2', 'r0');
});

test('a drag that leaves the picture goes on along its edge', () => {
  target.sees('pointerdown', 50, 50, kLeft);
  target.sees('pointermove', 500, 50, kLeft);
  target.sees('pointerup', 500, 50, 0);
  sent('m 0.5,0.5', 'p0', 'm 1,0.5', 'm 1,0.5', 'r0');
});

test('a press on the bars beside the picture is none, nor is its drag onto it', () => {
  target.sees('pointerdown', -50, 50, kLeft);
  target.sees('pointermove', 50, 50, kLeft);
  target.sees('pointerup', 50, 50, 0);
  sent('m 0.5,0.5');
});

test('fingers are not its business', () => {
  target.sees('pointerdown', 10, 10, kLeft, { pointerType: 'touch' });
  target.sees('pointerup', 10, 10, 0, { pointerType: 'touch' });
  sent();
});

test('a second pointer is ignored while the first holds a button', () => {
  target.sees('pointerdown', 10, 10, kLeft, { pointerId: 7 });
  target.sees('pointerdown', 90, 90, kLeft, { pointerId: 8 });
  target.sees('pointerup', 90, 90, 0, { pointerId: 8 });
  target.sees('pointerup', 10, 10, 0, { pointerId: 7 });
  sent('m 0.1,0.1', 'p0', 'm 0.1,0.1', 'r0');
});

test('a pointer the system takes away lets its buttons go', () => {
  target.sees('pointerdown', 10, 10, kLeft);
  target.sees('pointermove', 10, 10, kLeft | kRight);
  control.take();
  target.sees('pointercancel', 10, 10, 0);
  sent('r0', 'r1');
  target.sees('lostpointercapture', 10, 10, 0);
  sent();
});

test('held modifiers reach the host before a press and before a scroll', () => {
  target.sees('pointerdown', 10, 10, kLeft);
  assert.equal(engaged, 1);
  target.sees('pointermove', 20, 10, kLeft);
  target.sees('pointerup', 20, 10, 0);
  assert.equal(engaged, 1);
  target.sees('wheel', 10, 10, 0, { deltaMode: 0, deltaX: 0, deltaY: -120, wheelDeltaY: 120 });
  assert.equal(engaged, 2);
  assert.deepEqual(control.take().slice(-2), ['m 0.1,0.1', 'w 1']);
});

test('the wheel beside the picture scrolls nothing', () => {
  target.sees('wheel', -50, 10, 0, { deltaMode: 0, deltaX: 0, deltaY: -120, wheelDeltaY: 120 });
  sent();
});

test('moves are sent once a frame, and before whatever follows them', () => {
  const frames = [];
  const channel = { readyState: 'open', bufferedAmount: 0, texts: [], send(text) { this.texts.push(JSON.parse(text)); } };
  const real = new Control(() => channel, { requestAnimationFrame: (draw) => frames.push(draw) });
  real.moveTo({ x: 0.1, y: 0.1 });
  real.moveTo({ x: 0.2, y: 0.2 });
  assert.deepEqual(channel.texts, []);
  assert.equal(frames.length, 1);
  frames.shift()();
  real.moveTo({ x: 0.3, y: 0.3 });
  real.press(0);
  frames.shift()();
  real.scroll(0);
  assert.deepEqual(channel.texts,
    [{ t: 'm', x: 0.2, y: 0.2 }, { t: 'm', x: 0.3, y: 0.3 }, { t: 'p', b: 0 }]);
});

test('a stalled channel loses moves and nothing else', () => {
  const frames = [];
  const channel = { readyState: 'open', bufferedAmount: 1e6, texts: [], send(text) { this.texts.push(JSON.parse(text).t); } };
  const real = new Control(() => channel, { requestAnimationFrame: (draw) => frames.push(draw) });
  real.moveTo({ x: 0.1, y: 0.1 });
  frames.shift()();
  real.moveTo({ x: 0.2, y: 0.2 });
  real.release(0);
  assert.deepEqual(channel.texts, ['m', 'r']);
});

test('input without an open channel is dropped', () => {
  const channel = { readyState: 'connecting', send: () => assert.fail('sent') };
  const real = new Control(() => channel, { requestAnimationFrame() {} });
  real.press(0);
  real.type('text');
  assert.equal(real.isOpen, false);
  new Control(() => null, { requestAnimationFrame() {} }).press(0);
});
