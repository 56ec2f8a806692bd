import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { Trackpad } from '../../../companion/viewer/trackpad.js';
import { TouchWorld, scrolled } from './touch_world.mjs';

let world;

beforeEach(() => {
  world = new TouchWorld(Trackpad);
});

const place = () => world.cursor.place;

test('a tap presses at once where the pointer is, and releases', () => {
  world.tap(30, 40);
  assert.deepEqual(world.take(), ['m 0.5,0.5', 'p0']);
  world.after(220).sent('r0').rests();
  assert.equal(world.engaged, 1);
});

test('a tap that wanders a little clicks, and does not move the pointer', () => {
  world.down(1, 100, 100).after(40).move(1, 105, 103).after(40).up(1, 106, 102).after(300).sent('p0', 'r0');
  assert.deepEqual(place(), { x: 0.5, y: 0.5 });
});

test('a tap that wanders far is a stroke', () => {
  world.down(1, 100, 100).after(40).move(1, 112, 100).after(20).up(1, 112, 100).after(300).sent();
});

test('a finger that rests is no tap, and moves the pointer from then on without a threshold', () => {
  world.down(1, 100, 100).after(400).move(1, 102, 100);
  assert.ok(place().x > 0.5);
  world.up(1, 102, 100).after(300).sent().rests();
});

test('a resting finger whose lifting is told late has tapped all the same', () => {
  world.down(1, 100, 100);
  const { clock } = world;
  clock.advance(500);
  world.gestures.sees({ type: 'up', id: 1, x: 100, y: 100, time: 90 });
  world.after(300).sent('p0', 'r0').rests();
});

test('a quick stroke goes further than a slow one of the same length', () => {
  world.down(1, 100, 100).stroke({ 1: [100, 100, 200, 100] }, 40).up(1, 200, 100);
  const slow = place().x - 0.5;
  world.down(1, 100, 100).stroke({ 1: [100, 100, 0, 100] }, 5).up(1, 0, 100);
  const quick = slow + 0.5 - place().x;
  assert.ok(slow > 0.1 && quick > 1.5 * slow, `${slow} and ${quick}`);
});

test('the pointer stays on the picture, and comes back at once', () => {
  world.down(1, 0, 100).stroke({ 1: [0, 100, 400, 100] }, 6).stroke({ 1: [400, 100, 0, 100] }, 6);
  assert.ok(place().x < 0.5);
  world.up(1, 0, 100).down(1, 400, 0).stroke({ 1: [400, 0, 0, 0] }, 4);
  assert.equal(place().x, 0);
});

test('the pointer is taken over where mouse or pen left it', () => {
  world.cursor.moveTo({ x: 0.9, y: 0.1 });
  world.take();
  world.tap(30, 40);
  assert.deepEqual(world.take(), ['m 0.9,0.1', 'p0']);
});

test('tap, tap is a double click, and a third tap a triple one', () => {
  world.tap(100, 100).after(100).tap(104, 101).sent('p0', 'r0', 'p0');
  world.after(100).tap(100, 100).after(300).sent('r0', 'p0', 'r0').rests();
});

test('two slow taps are two clicks', () => {
  world.tap(100, 100).after(230).tap(100, 100).after(230).sent('p0', 'r0', 'p0', 'r0');
});

test('tap, then hold and move, drags until the finger is lifted', () => {
  world.tap(100, 100).after(100).down(1, 100, 100).stroke({ 1: [100, 100, 160, 100] }).sent('p0');
  assert.ok(place().x > 0.55);
  world.up(1, 160, 100).sent('r0').rests();
});

test('tap, then hold, keeps the button down for as long', () => {
  world.tap(100, 100).after(100).down(1, 100, 100).after(2000).sent('p0');
  world.up(1, 100, 100).sent('r0').rests();
});

test('a drag that a call cancels lets go', () => {
  world.tap(100, 100).after(50).down(1, 100, 100).stroke({ 1: [100, 100, 160, 100] }).sent('p0');
  world.cancel(1).sent('r0').rests();
});

test('a second finger during a drag lets go, and nothing more comes of the two', () => {
  world.tap(100, 100).after(50).down(1, 100, 100).stroke({ 1: [100, 100, 160, 100] }).sent('p0');
  world.down(2, 300, 100).sent('r0');
  world.stroke({ 1: [160, 100, 160, 300], 2: [300, 100, 300, 300] }).up(1, 160, 300).up(2, 300, 300);
  world.sent().rests();
  world.tap(10, 10).after(300).sent('p0', 'r0');
});

test('whatever ends the visit lets go of a tap that is still held, once', () => {
  world.tap(100, 100).sent('p0');
  world.gestures.releaseAll();
  world.after(500).sent('r0').rests();
});

test('fingers that were down when everything was let go count no more', () => {
  world.down(1, 100, 100);
  world.gestures.releaseAll();
  world.stroke({ 1: [100, 100, 200, 200] }).up(1, 200, 200).after(300);
  assert.deepEqual(world.take(), ['m 0.5,0.5']);
});

test('a finger whose lifting was never told is forgotten when another is the first', () => {
  world.down(1, 100, 100);
  world.gestures.sees({ type: 'down', id: 2, x: 50, y: 50, time: world.clock.now, isFirst: true });
  world.after(50).up(2, 50, 50).after(300).sent('p0', 'r0');
});

test('two fingers that land 80 ms apart tap the right button', () => {
  world.down(1, 100, 100).after(80).down(2, 160, 100).after(50).up(1, 100, 100).after(30).up(2, 160, 100);
  world.after(300).sent('p1', 'r1').rests();
});

test('two fingers that land 80 ms apart scroll, the first one already on its way', () => {
  world.down(1, 100, 300).after(40).move(1, 101, 290).after(40).move(1, 101, 285).down(2, 160, 290);
  world.take();
  world.stroke({ 1: [101, 285, 101, 165], 2: [160, 290, 160, 170] }).after(200);
  const log = world.up(1, 101, 165).up(2, 160, 170).take();
  assert.ok(scrolled(log) <= -5, log.join());
  assert.ok(log.every((word) => word.startsWith('w ')), log.join());
  world.after(2000).sent().rests();
});

test('two fingers that rest too long tap nothing', () => {
  world.down(1, 100, 100).down(2, 160, 100).after(600).up(1, 100, 100).up(2, 160, 100).after(300).sent();
});

test('a three-finger tap with uneven landings and lifts is the middle button', () => {
  world.down(1, 100, 100).after(50).down(2, 160, 100).after(40).down(3, 220, 120).after(60);
  world.up(2, 162, 101).after(70).up(1, 100, 104).after(80).up(3, 220, 120);
  world.after(300).sent('p2', 'r2').rests();
});

test('three fingers that move, and four that tap, do nothing', () => {
  world.down(1, 100, 100).down(2, 160, 100).down(3, 220, 100);
  world.stroke({ 1: [100, 100, 100, 200], 2: [160, 100, 160, 200], 3: [220, 100, 220, 200] });
  world.up(1, 100, 200).up(2, 160, 200).up(3, 220, 200).after(300).sent();
  for (const id of [1, 2, 3, 4]) world.down(id, 60 * id, 100);
  for (const id of [1, 2, 3, 4]) world.after(20).up(id, 60 * id, 100);
  world.after(300).sent().rests();
});

test('one of two fingers that stays after the tap does not move the pointer', () => {
  world.down(1, 100, 100).down(2, 160, 100).after(50).up(2, 160, 100);
  world.stroke({ 1: [100, 100, 200, 200] }).up(1, 200, 200).after(300).sent();
  assert.deepEqual(place(), { x: 0.5, y: 0.5 });
});

test('a picture follows the fingers: down is a scroll up, with the modifiers engaged', () => {
  world.down(1, 100, 100).down(2, 160, 100).stroke({ 1: [100, 100, 100, 260], 2: [160, 100, 160, 260] });
  const log = world.after(200).up(1, 100, 260).up(2, 160, 260).take();
  // 160 pixels, less what it took to decide, at 16 a line.
  assert.ok(scrolled(log) >= 8 && scrolled(log) <= 10, log.join());
  assert.ok(world.engaged > 0);
});

test('scrolling by fingers that stop before they are lifted ends there', () => {
  world.down(1, 100, 100).down(2, 160, 100).stroke({ 1: [100, 100, 100, 260], 2: [160, 100, 160, 260] });
  world.after(200).up(1, 100, 260).take();
  world.up(2, 160, 260).after(3000).sent().rests();
});

function throwUp() {
  world.down(1, 100, 300).down(2, 160, 300);
  world.stroke({ 1: [100, 300, 100, 140], 2: [160, 300, 160, 140] }).up(1, 100, 140).up(2, 160, 140);
  world.take();
}

test('a thrown scroll rolls on in the same direction, ever slower, and ends by itself', () => {
  throwUp();
  const first = scrolled(world.after(300).take());
  const second = scrolled(world.after(300).take());
  assert.ok(first < second && second < 0, `${first}, then ${second}`);
  world.after(5000).rests();
});

test('the next touch stops a thrown scroll and clicks nothing; the one after it does', () => {
  throwUp();
  world.after(100).take();
  world.tap(200, 200).after(1000).sent().rests();
  world.tap(200, 200).after(300).sent('p0', 'r0');
});

test('letting everything go stops a thrown scroll', () => {
  throwUp();
  world.gestures.releaseAll();
  world.after(1000).sent().rests();
});

test('two fingers that part are a pinch, and stay one when they go on together', () => {
  world.down(1, 180, 200).down(2, 220, 200).stroke({ 1: [180, 200, 100, 200], 2: [220, 200, 300, 200] });
  const out = world.take();
  assert.ok(out.length > 4 && out.slice(1).every((word) => word.startsWith('pinch out')), out.join());
  world.stroke({ 1: [100, 200, 100, 320], 2: [300, 200, 300, 320] });
  const along = world.take();
  assert.ok(along.every((word) => word.startsWith('pinch')), along.join());
  world.up(1, 100, 320).up(2, 300, 320).after(2000).sent('settled').rests();
});

test('a pinch about a finger that stays is a pinch', () => {
  world.down(1, 100, 300).down(2, 200, 300).stroke({ 2: [200, 300, 330, 300] });
  const log = world.take().slice(1);
  assert.ok(log.length > 4 && log.every((word) => word.startsWith('pinch out')), log.join());
});

test('a scroll stays one when the fingers come together', () => {
  world.down(1, 100, 100).down(2, 200, 100).stroke({ 1: [100, 100, 100, 160], 2: [200, 100, 200, 160] });
  world.stroke({ 1: [100, 160, 140, 160], 2: [200, 160, 160, 160] });
  assert.ok(world.take().slice(1).every((word) => word.startsWith('w ')));
});

test('quick fingers whose movements are told one after the other scroll, even in large steps', () => {
  world.down(1, 200, 100).down(2, 200, 180);
  world.stroke({ 1: [200, 100, 200, 220], 2: [200, 180, 200, 300] }, 3);
  const log = world.take().slice(1);
  assert.ok(log.length > 0 && log.every((word) => word.startsWith('w ')), log.join());
});

test('a cancelled pinch settles', () => {
  world.down(1, 180, 200).down(2, 220, 200).stroke({ 1: [180, 200, 100, 200], 2: [220, 200, 300, 200] });
  world.take();
  world.cancel(1).sent('settled').rests();
});
