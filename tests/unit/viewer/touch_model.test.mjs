import assert from 'node:assert/strict';
import { test } from 'node:test';
import { DirectTouch } from '../../../companion/viewer/direct_touch.js';
import { Trackpad } from '../../../companion/viewer/trackpad.js';
import { TouchWorld } from './touch_world.mjs';

const kRuns = 1500;
const kActions = 40;
const kFingers = [1, 2, 3, 4];

/** Numbers from 0 to below 1 that follow from the seed (a linear congruential generator). */
function numbers(seed) {
  let state = seed;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 2 ** 32;
  };
}

/** What no sequence of gestures may do: press what is down, release what is up. */
class Buttons {
  #down = new Set();

  follow(log) {
    for (const [word] of log.map((entry) => /^[pr]\d$/.exec(entry) ?? [])) {
      if (!word) continue;
      const isDown = this.#down.has(word[1]);
      assert.equal(isDown, word[0] === 'r', `${word} while the button is ${isDown ? 'down' : 'up'}`);
      if (isDown) this.#down.delete(word[1]);
      else this.#down.add(word[1]);
    }
  }

  get areUp() {
    return this.#down.size === 0;
  }
}

function act(world, down, next) {
  const point = () => [Math.floor(next() * 460) - 30, Math.floor(next() * 460) - 30];
  const pick = (fingers) => fingers[Math.floor(next() * fingers.length)];
  const held = [...down.keys()];
  const free = kFingers.filter((id) => !down.has(id));
  const what = next();
  if (what < 0.3 && free.length > 0) {
    const id = pick(free);
    down.set(id, point());
    world.down(id, ...down.get(id));
  } else if (what < 0.6 && held.length > 0) {
    const id = pick(held);
    const far = next() < 0.5 ? 6 : 120;
    down.set(id, down.get(id).map((at) => at + (next() - 0.5) * far));
    world.move(id, ...down.get(id));
  } else if (what < 0.85 && held.length > 0) {
    const id = pick(held);
    world.up(id, ...down.get(id));
    down.delete(id);
  } else if (what < 0.87 && held.length > 0) {
    const id = pick(held);
    world.cancel(id);
    down.delete(id);
  } else if (what < 0.88) {
    world.gestures.releaseAll();
  } else {
    world.after(Math.floor(next() * (next() < 0.7 ? 60 : 700)));
  }
}

for (const [name, Gestures] of [['trackpad', Trackpad], ['direct touch', DirectTouch]]) {
  test(`whatever fingers do on the ${name}, buttons go down and up in turn, and none stays down`, () => {
    for (let seed = 1; seed <= kRuns; ++seed) {
      const world = new TouchWorld(Gestures);
      const next = numbers(seed);
      const buttons = new Buttons();
      const down = new Map();
      try {
        for (let action = 0; action < kActions; ++action) {
          act(world, down, next);
          buttons.follow(world.take());
        }
        for (const [id, point] of down) world.up(id, ...point);
        world.after(20000);
        buttons.follow(world.take());
        assert.ok(buttons.areUp, 'a button is still down');
        world.rests();
        world.after(1000).tap(200, 200).after(1000);
        const clicked = world.take().filter((word) => /^[pr]/.test(word));
        assert.deepEqual(clicked, ['p0', 'r0'], 'a tap clicks again');
      } catch (error) {
        error.message = `seed ${seed}: ${error.message}`;
        throw error;
      }
    }
  });
}
