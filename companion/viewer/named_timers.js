/** One-shot timers known by a name; starting one again replaces it. `world` brings the timers. */
export class NamedTimers {
  #world;
  #timers = new Map();

  constructor(world = globalThis) {
    this.#world = world;
  }

  isRunning(name) {
    return this.#timers.has(name);
  }

  start(name, milliseconds, action) {
    this.cancel(name);
    const timer = this.#world.setTimeout(() => {
      this.#timers.delete(name);
      action();
    }, milliseconds);
    this.#timers.set(name, timer);
  }

  cancel(...names) {
    for (const name of names) {
      this.#world.clearTimeout(this.#timers.get(name));
      this.#timers.delete(name);
    }
  }

  cancelAll() {
    this.cancel(...this.#timers.keys());
  }
}
