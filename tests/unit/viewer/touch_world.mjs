import assert from 'node:assert/strict';
import { Cursor } from '../../../companion/viewer/cursor.js';
import { FakeClock, FakeControl } from './fake_world.mjs';

/**
 * A glass of 400 by 400 that shows all of the picture, for gestures in virtual time. What is sent
 * and what happens to the picture are one log.
 */
export class TouchWorld {
  clock = new FakeClock();
  control = new FakeControl();
  engaged = 0;
  #down = new Set();

  constructor(Gestures) {
    const { clock, control } = this;
    this.cursor = new Cursor(control, () => (this.engaged += 1));
    this.stage = {
      rect: { left: 0, top: 0, width: 400, height: 400 },
      scale: 0.2,
      locate: ({ x, y }) => ({ x: x / 400, y: y / 400, onPicture: x >= 0 && y >= 0 && x <= 400 && y <= 400 }),
      follow: () => {},
      pinch: (middle, factor, dx, dy) => control.log.push(`pinch ${factor > 1 ? 'out' : 'in'} ${dx},${dy}`),
      settleZoom: () => control.log.push('settled'),
    };
    this.hints = {
      magnify: ({ x, y }) => control.log.push(`magnify ${x},${y}`),
      noMagnifier: () => {},
      pulse: () => control.log.push('pulse'),
    };
    const timer = {
      now: () => clock.now, setTimeout: clock.setTimeout, clearTimeout: clock.clearTimeout,
    };
    this.gestures = new Gestures(this.cursor, this.stage, timer, this.hints);
  }

  down(id, x, y) {
    this.#sees('down', id, x, y, this.#down.size === 0);
    this.#down.add(id);
    return this;
  }

  move(id, x, y) {
    return this.#sees('move', id, x, y);
  }

  up(id, x, y) {
    this.#down.delete(id);
    return this.#sees('up', id, x, y);
  }

  cancel(id) {
    this.#down.delete(id);
    return this.#sees('cancel', id, 0, 0);
  }

  after(milliseconds) {
    this.clock.advance(milliseconds);
    return this;
  }

  tap(x, y) {
    return this.down(1, x, y).after(60).up(1, x, y);
  }

  /** Fingers that move together, {id: [fromX, fromY, toX, toY]}, in as many steps of 16 ms. */
  stroke(ways, steps = 8) {
    for (let step = 1; step <= steps; ++step) {
      this.after(16);
      for (const [id, [fromX, fromY, toX, toY]] of Object.entries(ways)) {
        const along = (from, to) => from + ((to - from) * step) / steps;
        this.move(Number(id), along(fromX, toX), along(fromY, toY));
      }
    }
    return this;
  }

  /** What has been sent since the last look, moves left out. */
  sent(...expected) {
    assert.deepEqual(this.take().filter((word) => !word.startsWith('m ')), expected);
    return this;
  }

  take() {
    return this.control.take();
  }

  /** Nothing is under way any more: no button down, no timer running. */
  rests() {
    assert.equal(this.clock.pending, 0, 'a timer is still running');
  }

  #sees(type, id, x, y, isFirst = false) {
    this.gestures.sees({ type, id, x, y, time: this.clock.now, isFirst });
    return this;
  }
}

/** The lines scrolled in a log, all together. */
export const scrolled = (log) =>
  log.filter((word) => word.startsWith('w ')).reduce((sum, word) => sum + Number(word.slice(2)), 0);
