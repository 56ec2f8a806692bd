import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Viewport } from '../../../companion/viewer/viewport.js';

const room = (width, height, left = 0, top = 0) => ({ left, top, width, height });

function viewportOf(picture, ...layout) {
  const viewport = new Viewport();
  viewport.setPicture(picture);
  viewport.layOut(...layout);
  return viewport;
}

const fullHd = { width: 1920, height: 1080 };
const phone = room(390, 844);

function near(actual, expected, message) {
  for (const [name, value] of Object.entries(expected)) {
    assert.ok(Math.abs(actual[name] - value) < 1e-6,
      `${message ?? ''} ${name}: ${actual[name]} instead of ${value}`);
  }
}

test('a wide picture in a tall room has bars above and below', () => {
  near(viewportOf({ width: 1600, height: 900 }, room(400, 800)).rect,
    { left: 0, top: 287.5, width: 400, height: 225 });
});

test('a tall picture in a wide room has bars left and right', () => {
  near(viewportOf({ width: 500, height: 1000 }, room(1000, 500, 10, 20)).rect,
    { left: 385, top: 20, width: 250, height: 500 });
});

test('without a picture, or without room, nothing has a place', () => {
  for (const viewport of [
    viewportOf({ width: 0, height: 0 }, room(400, 800)),
    viewportOf({ width: 16, height: 9 }, room(0, 0)),
  ]) {
    viewport.zoomAbout({ x: 1, y: 1 }, 2);
    viewport.panBy(1, 1);
    viewport.keepInView({ x: 1, y: 1 });
    assert.equal(viewport.rect, null);
    assert.equal(viewport.locate({ x: 1, y: 1 }), null);
    assert.equal(viewport.pointAt({ x: 1, y: 1 }), null);
  }
});

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
    const viewport = viewportOf({ width: 1600, height: 800 }, room(800, 400, 100, 50));
    assert.deepEqual(viewport.locate({ x, y }), expected);
  });
}

test('every point of a picture’s pixel is that pixel’s', () => {
  const viewport = viewportOf({ width: 10, height: 10 }, room(100, 100));
  for (const at of [30, 30.1, 35, 39.9]) assert.equal(viewport.locate({ x: at, y: 0 }).x, 0.3);
  assert.equal(viewport.locate({ x: 40, y: 0 }).x, 0.4);
});

test('a zoom keeps what is under the fingers under them', () => {
  const viewport = viewportOf(fullHd, phone);
  const fingers = { x: 120, y: 420 };
  const place = viewport.locate(fingers);
  viewport.zoomAbout(fingers, 3);
  assert.equal(viewport.zoom, 3);
  near(viewport.locate(fingers), { x: place.x }, 'sideways');
});

test('points and places stay each other’s through zooms and pans', () => {
  const viewport = viewportOf(fullHd, phone);
  for (const change of [
    () => viewport.zoomAbout({ x: 30, y: 350 }, 2.3),
    () => viewport.panBy(-70, 25),
    () => viewport.zoomAbout({ x: 350, y: 600 }, 5),
    () => viewport.panBy(133, -41),
    () => viewport.zoomAbout({ x: 200, y: 400 }, 0.45),
  ]) {
    change();
    for (const pixel of [{ x: 0, y: 0 }, { x: 960, y: 540 }, { x: 1919, y: 1079 }, { x: 7, y: 801 }]) {
      const corner = viewport.pointAt({ x: pixel.x / 1920, y: pixel.y / 1080 });
      const { x, y } = viewport.locate(
        { x: corner.x + viewport.scale / 2, y: corner.y + viewport.scale / 2 });
      assert.deepEqual({ x: Math.round(x * 1920), y: Math.round(y * 1080) }, pixel);
    }
  }
});

test('zooming ends at five times and at the whole picture', () => {
  const viewport = viewportOf(fullHd, phone);
  const whole = viewport.rect;
  viewport.zoomAbout({ x: 10, y: 10 }, 100);
  assert.equal(viewport.zoom, 5);
  viewport.zoomAbout({ x: 300, y: 800 }, 0.001);
  assert.equal(viewport.zoom, 1);
  near(viewport.rect, whole);
});

test('a pinch that ends almost at the whole picture ends there', () => {
  const viewport = viewportOf(fullHd, phone);
  const whole = viewport.rect;
  viewport.zoomAbout({ x: 300, y: 420 }, 1.05);
  viewport.settleZoom();
  near(viewport.rect, whole);
  viewport.zoomAbout({ x: 300, y: 420 }, 1.2);
  viewport.settleZoom();
  assert.equal(viewport.zoom, 1.2);
});

test('a picture larger than the room cannot be pushed out of it', () => {
  const viewport = viewportOf(fullHd, phone);
  viewport.zoomAbout({ x: 195, y: 422 }, 5); // 1950 by 1097
  viewport.panBy(1e5, 1e5);
  near(viewport.rect, { left: 0, top: 0 });
  viewport.panBy(-1e5, -1e5);
  near(viewport.rect, { left: 390 - 1950, top: 844 - 390 * 5 * 9 / 16 });
});

test('a direction in which all of it is seen stays in the middle', () => {
  const viewport = viewportOf(fullHd, phone);
  viewport.zoomAbout({ x: 195, y: 422 }, 2); // 780 by 439: no taller than the room
  viewport.panBy(-50, 300);
  near(viewport.rect, { left: -245, top: 422 - 780 * 9 / 32 });
});

test('turning the phone keeps the zoom and what was in the middle', () => {
  const viewport = viewportOf(fullHd, phone);
  viewport.zoomAbout({ x: 100, y: 422 }, 5);
  viewport.panBy(40, 60);
  const place = viewport.locate({ x: 195, y: 422 });
  viewport.layOut(room(844, 390));
  assert.equal(viewport.zoom, 5);
  near(viewport.locate({ x: 422, y: 195 }), { x: place.x, y: place.y });
});

test('a keyboard over the room does not shrink the picture, which moves to be seen', () => {
  const across = room(844, 390);
  const viewport = viewportOf(fullHd, across);
  const { width } = viewport.rect;
  viewport.layOut(across, room(844, 200));
  assert.equal(viewport.rect.width, width);
  viewport.keepInView({ x: 0.5, y: 1 });
  near(viewport.pointAt({ x: 0.5, y: 1 }), { y: 200 });
  viewport.keepInView({ x: 0.5, y: 0 });
  near(viewport.pointAt({ x: 0.5, y: 0 }), { y: 0 });
  viewport.layOut(across);
  near(viewport.rect, { top: 0 });
});

test('what follows the pointer moves only when the pointer comes close to an edge', () => {
  const viewport = viewportOf(fullHd, phone);
  viewport.zoomAbout({ x: 195, y: 422 }, 4);
  const before = viewport.rect;
  viewport.keepInView(viewport.locate({ x: 300, y: 500 }));
  near(viewport.rect, before);
  const atTheEdge = viewport.locate({ x: 380, y: 422 });
  viewport.keepInView(atTheEdge);
  near(viewport.pointAt(atTheEdge), { x: 390 - 56 });
  near(viewport.rect, { top: before.top });
});

test('pixels are hard above two device pixels each', () => {
  const viewport = viewportOf({ width: 1000, height: 1000 }, room(500, 500));
  assert.equal(viewport.isHard(3), false);
  assert.equal(viewport.isHard(4), false);
  viewport.zoomAbout({ x: 0, y: 0 }, 1.5);
  assert.equal(viewport.isHard(3), true);
  assert.equal(new Viewport().isHard(3), false);
});
