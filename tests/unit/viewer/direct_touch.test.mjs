import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { DirectTouch } from '../../../companion/viewer/direct_touch.js';
import { TouchWorld, scrolled } from './touch_world.mjs';

let world;

beforeEach(() => {
  world = new TouchWorld(DirectTouch);
});

test('a tap clicks where the finger is', () => {
  world.tap(100, 300);
  assert.deepEqual(world.take(), ['m 0.25,0.75', 'p0', 'r0']);
  world.rests();
});

test('a tap that wanders a little clicks where it began', () => {
  world.down(1, 100, 300).after(30).move(1, 106, 304).after(30).up(1, 107, 304);
  assert.deepEqual(world.take(), ['m 0.25,0.75', 'p0', 'r0']);
});

test('a second tap close by is at the same place, so that it makes a double click', () => {
  world.tap(100, 300).after(120).tap(112, 310);
  assert.deepEqual(world.take(), ['m 0.25,0.75', 'p0', 'r0', 'm 0.25,0.75', 'p0', 'r0']);
});

test('a later tap, or one further off, is at its own place', () => {
  world.tap(100, 300).after(600).tap(112, 300).after(100).tap(160, 300);
  assert.deepEqual(world.take().filter((word) => word.startsWith('m')),
    ['m 0.25,0.75', 'm 0.28,0.75', 'm 0.4,0.75']);
});

test('after a pinch a tap close to an earlier one is at its own place', () => {
  world.tap(100, 300).down(1, 100, 300).down(2, 200, 300).stroke({ 2: [200, 300, 260, 300] }, 4);
  world.up(1, 100, 300).up(2, 260, 300).take();
  world.after(20).tap(112, 300);
  assert.deepEqual(world.take(), ['m 0.28,0.75', 'p0', 'r0']);
});

test('a finger beside the picture presses nothing, also when it moves onto it', () => {
  world.down(1, -20, 100).stroke({ 1: [-20, 100, 200, 100] }).up(1, 200, 100);
  assert.deepEqual(world.take(), []);
  world.rests();
});

test('a long press shows what is under the finger, then clicks the right button with a pulse', () => {
  world.down(1, 100, 300).after(550);
  assert.deepEqual(world.take(), ['m 0.25,0.75', 'magnify 100,300', 'pulse', 'p1', 'r1']);
  world.stroke({ 1: [100, 300, 200, 300] }).up(1, 200, 300).sent().rests();
});

test('press and move drags from where the finger landed to where it is lifted', () => {
  world.down(1, 100, 300).after(50).move(1, 104, 300).after(16).move(1, 140, 300).after(16).move(1, 200, 300);
  assert.deepEqual(world.take(), [
    'm 0.25,0.75', 'p0', 'm 0.35,0.75', 'magnify 140,300', 'm 0.5,0.75', 'magnify 200,300',
  ]);
  world.up(1, 200, 300).sent('r0').rests();
});

test('a drag that outlasts the long press stays a drag', () => {
  world.down(1, 100, 300).after(50).move(1, 150, 300).after(2000).take();
  world.up(1, 150, 300).sent('r0').rests();
});

for (const [name, end] of [
  ['that a call cancels', () => world.cancel(1)],
  ['in a visit that ends', () => world.gestures.releaseAll()],
  ['that a second finger joins', () => world.down(2, 300, 300)],
]) {
  test(`a drag ${name} lets go, once`, () => {
    world.down(1, 100, 300).after(50).move(1, 150, 300).take();
    end();
    world.sent('r0').stroke({ 1: [150, 300, 150, 200], 2: [300, 300, 300, 200] });
    world.up(1, 150, 200).up(2, 300, 200).after(2000).sent().rests();
    world.tap(100, 300).sent('p0', 'r0');
  });
}

test('a long press that a second finger joins is none', () => {
  world.down(1, 100, 300).after(100).down(2, 160, 300).after(2000).up(2, 160, 300).up(1, 100, 300);
  world.sent().rests();
});

test('two fingers scroll what is under their middle, and can be thrown', () => {
  world.down(1, 100, 300).after(80).down(2, 200, 300).take();
  world.stroke({ 1: [100, 300, 100, 140], 2: [200, 300, 200, 140] });
  const log = world.take();
  assert.equal(log[0], 'm 0.375,0.75');
  assert.ok(scrolled(log) <= -6, log.join());
  world.up(1, 100, 140).up(2, 200, 140).after(300);
  assert.ok(scrolled(world.take()) < 0);
  world.after(100).tap(200, 200).after(1000);
  assert.equal(world.take().includes('p0'), false);
  world.rests();
});

test('two fingers beside and on the picture can pinch it', () => {
  world.down(1, 200, -30).down(2, 200, 100).stroke({ 1: [200, -30, 200, -80], 2: [200, 100, 200, 180] });
  const log = world.take();
  assert.ok(log.length > 4 && log.every((word) => word.startsWith('pinch out')), log.join());
  world.up(1, 200, -80).up(2, 200, 180).sent('settled').rests();
});
