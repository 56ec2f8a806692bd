import assert from 'node:assert/strict';
import { test } from 'node:test';
import { WheelLines } from '../../../companion/viewer/wheel.js';

const kPixels = 0;
const kTextLines = 1;
const kPages = 2;

function scroll(...events) {
  const wheel = new WheelLines();
  return events.map((event) =>
    wheel.take({ deltaMode: kPixels, deltaX: 0, deltaY: 0, shiftKey: false, ...event }));
}

const eq = (actual, expected) => assert.deepEqual(actual.map((lines) => lines + 0), expected);

test('a notch of a wheel is one line, up positive, whatever the page would scroll by', () => {
  eq(scroll({ deltaY: 120, wheelDeltaY: -120 }, { deltaY: -53, wheelDeltaY: 120 }), [-1, 1]);
  eq(scroll({ deltaY: 300, wheelDeltaY: -360 }), [-3]);
});

test('pixels of a touch pad add up to lines', () => {
  eq(scroll(...Array(5).fill({ deltaY: 20, wheelDeltaY: -60 })), [0, 0, -1, 0, -1]);
});

test('turning round drops what was left over', () => {
  eq(scroll({ deltaY: 40, wheelDeltaY: -110 }, { deltaY: -40, wheelDeltaY: 110 }), [0, 0]);
});

test('text lines and pages are understood', () => {
  eq(scroll({ deltaMode: kTextLines, deltaY: 3 }), [-1]);
  eq(scroll({ deltaMode: kTextLines, deltaY: -1 }, { deltaMode: kTextLines, deltaY: -2 }), [0, 1]);
  eq(scroll({ deltaMode: kPages, deltaY: 1 }), [-8]);
});

test('the sideways wheel counts only where Shift turned it', () => {
  eq(scroll({ deltaX: 120, wheelDeltaX: -120 }), [0]);
  eq(scroll({ deltaX: 120, wheelDeltaX: -120, shiftKey: true }), [-1]);
});

test('a mad wheel is bounded', () => {
  eq(scroll({ deltaY: -1e9, wheelDeltaY: 1.2e9 }, { deltaY: 1e7 }), [100, -100]);
});
