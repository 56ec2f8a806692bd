import assert from 'node:assert/strict';
import { test } from 'node:test';
import { fractionsAt, pictureIn } from '../../../companion/viewer/geometry.js';

const box = (width, height, left = 0, top = 0) => ({ left, top, width, height });

test('a wide picture in a tall window has bars above and below', () => {
  assert.deepEqual(pictureIn(box(400, 800), { width: 1600, height: 900 }),
    { left: 0, top: 287.5, width: 400, height: 225 });
});

test('a tall picture in a wide window has bars left and right', () => {
  assert.deepEqual(pictureIn(box(1000, 500, 10, 20), { width: 500, height: 1000 }),
    { left: 385, top: 20, width: 250, height: 500 });
});

test('without a picture, or without a window, there is no place', () => {
  assert.equal(pictureIn(box(400, 800), { width: 0, height: 0 }), null);
  assert.equal(pictureIn(box(0, 0), { width: 16, height: 9 }), null);
});

const picture = { left: 100, top: 50, width: 800, height: 400 };

for (const [x, y, expected] of [
  [100, 50, { x: 0, y: 0, onPicture: true }],
  [500, 250, { x: 0.5, y: 0.5, onPicture: true }],
  [900, 450, { x: 1, y: 1, onPicture: true }],
  [89, 250, { x: 0, y: 0.5, onPicture: true }],
  [87, 250, { x: 0, y: 0.5, onPicture: false }],
  [500, 463, { x: 0.5, y: 1, onPicture: false }],
  [2000, -5, { x: 1, y: 0, onPicture: false }],
]) {
  test(`the point ${x},${y} is at ${expected.x},${expected.y} of the picture`, () => {
    assert.deepEqual(fractionsAt({ x, y }, picture), expected);
  });
}
