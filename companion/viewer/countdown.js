const kSecondMs = 1000;

/** Tells once a second how many seconds are left, the last time at 0. `world` brings the timers. */
export class Countdown {
  #tick;
  #world;
  #timer = null;
  #left = 0;

  constructor(tick, world = globalThis) {
    this.#tick = tick;
    this.#world = world;
  }

  get isRunning() {
    return this.#timer !== null;
  }

  start(seconds) {
    this.stop();
    this.#left = Math.ceil(seconds);
    this.#step();
  }

  stop() {
    if (this.#timer !== null) this.#world.clearTimeout(this.#timer);
    this.#timer = null;
  }

  #step() {
    this.#timer = null;
    if (this.#left > 0) {
      this.#timer = this.#world.setTimeout(() => {
        this.#left -= 1;
        this.#step();
      }, kSecondMs);
    }
    this.#tick(this.#left);
  }
}
