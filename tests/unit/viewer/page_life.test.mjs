import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { PageLife } from '../../../companion/viewer/page_life.js';
import { WakeLock } from '../../../companion/viewer/wake_lock.js';
import { FakeClock } from './fake_world.mjs';

let now, clock, page, window, backs;

class FakePage extends EventTarget {
  hidden = false;

  hide(hidden) {
    this.hidden = hidden;
    this.dispatchEvent(new Event('visibilitychange'));
  }
}

beforeEach(() => {
  now = 1000;
  backs = [];
  page = new FakePage();
  clock = new FakeClock();
  window = Object.assign(new EventTarget(), {
    document: page, Date: { now: () => now }, setTimeout: clock.setTimeout,
  });
});

const happens = (type, more = {}) =>
  window.dispatchEvent(Object.assign(new Event(type), more));
const watch = () => new PageLife((awayMs) => backs.push(awayMs), window);

test('coming back into sight tells how long it was', () => {
  watch();
  page.hide(true);
  now += 90000;
  page.hide(false);
  assert.deepEqual(backs, [90000]);
});

test('a page out of the cache of pages left was away since it was left', () => {
  watch();
  happens('pagehide');
  page.hide(true);
  now += 5000;
  happens('pageshow', { persisted: true });
  page.hide(false);
  assert.deepEqual(backs, [5000], 'told once');
});

test('the first showing of a page is no return', () => {
  watch();
  happens('pageshow', { persisted: false });
  assert.deepEqual(backs, []);
});

test('a page that opens out of sight comes back when it is looked at', () => {
  page.hidden = true;
  watch();
  now += 20000;
  page.hide(false);
  assert.deepEqual(backs, [20000]);
});

test('the network that comes back is a return, too', () => {
  watch();
  happens('online');
  assert.deepEqual(backs, [0]);
});

test('a device that slept with the page in sight is noticed by its clock', () => {
  watch();
  now += 2100;
  clock.advance(2000);
  assert.deepEqual(backs, []);
  now += 300000;
  clock.advance(2000);
  now += 2000;
  clock.advance(2000);
  assert.deepEqual(backs, [300000]);
});

test('slow timers out of sight are no sleep', () => {
  watch();
  page.hide(true);
  now += 60000;
  clock.advance(2000);
  assert.deepEqual(backs, []);
});

class FakeLocks {
  held = 0;
  asked = 0;

  request = async () => {
    this.asked += 1;
    if (this.refuse) throw new Error('the battery is low');
    this.held += 1;
    const lock = Object.assign(new EventTarget(), {
      released: false,
      release: async () => {
        if (lock.released) return;
        lock.released = true;
        this.held -= 1;
        lock.dispatchEvent(new Event('release'));
      },
    });
    return (this.last = lock);
  };
}

const settled = () => new Promise(setImmediate);

test('the screen stays on while it is wanted, and is asked for again after an absence', async () => {
  const locks = new FakeLocks();
  const wake = new WakeLock(page, locks);
  wake.want(true);
  wake.want(true);
  await settled();
  assert.deepEqual([locks.held, locks.asked], [1, 1]);

  page.hide(true);
  await locks.last.release(); // as the browser does
  assert.equal(locks.held, 0);
  page.hide(false);
  await settled();
  assert.equal(locks.held, 1);

  wake.want(false);
  await settled();
  assert.equal(locks.held, 0);
});

test('a lock that comes when it is no longer wanted is let go', async () => {
  const locks = new FakeLocks();
  const wake = new WakeLock(page, locks);
  wake.want(true);
  wake.want(false);
  await settled();
  assert.equal(locks.held, 0);
});

test('a browser that refuses, or has no such thing, is left alone until the next return', async () => {
  const locks = new FakeLocks();
  locks.refuse = true;
  const wake = new WakeLock(page, locks);
  wake.want(true);
  await settled();
  locks.refuse = false;
  page.hide(true);
  page.hide(false);
  await settled();
  assert.equal(locks.held, 1);
  assert.doesNotThrow(() => new WakeLock(page, null).want(true));
});
