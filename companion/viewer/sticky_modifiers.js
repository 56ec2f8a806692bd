import { flagOf, virtualKey } from './key_codes.js';

// Two taps within this time are one double tap.
const kDoubleTapMs = 400;

/**
 * Modifiers for a hand that cannot hold them: a tap sets one for the next key, a double tap until
 * further notice, and a tap on one that is set takes it off.
 */
export class StickyModifiers {
  #held;
  #states = new Map(); // 'Shift', 'Control', 'Alt' or 'Meta' -> { locked, at } while it is set
  /** Called after every change. */
  changed = () => {};

  /** `held`, a HeldModifiers, gets each that is set as if a finger were on it. */
  constructor(held) {
    this.#held = held;
  }

  /** `now` in milliseconds, of any clock that only goes forward. */
  tap(name, now) {
    const state = this.#states.get(name);
    if (!state) {
      this.#states.set(name, { locked: false, at: now });
      this.#held.press(code(name), true);
    } else if (!state.locked && now - state.at <= kDoubleTapMs) {
      state.locked = true;
    } else {
      this.#takeOff(name);
    }
    this.changed();
  }

  /** 'off', 'next' or 'locked'. */
  state(name) {
    const state = this.#states.get(name);
    if (!state) return 'off';
    return state.locked ? 'locked' : 'next';
  }

  get isOn() {
    return this.#states.size > 0;
  }

  get isShiftAlone() {
    return this.#states.size === 1 && this.#states.has('Shift');
  }

  get flags() {
    return [...this.#states.keys()].reduce((mask, name) => mask | flagOf(name), 0);
  }

  /** A key has been pressed with them. */
  used() {
    this.#drop(({ locked }) => !locked);
  }

  clear() {
    this.#drop(() => true);
  }

  #drop(which) {
    if (!this.isOn) return;
    for (const [name, state] of [...this.#states]) if (which(state)) this.#takeOff(name);
    this.changed();
  }

  #takeOff(name) {
    this.#states.delete(name);
    this.#held.release(code(name));
  }
}

const code = (name) => virtualKey({ code: `${name}Left` });
