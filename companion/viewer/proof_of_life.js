import { NamedTimers } from './named_timers.js';

const kPatienceMs = 3000; // a living visit, however still its picture, hears something within that time

/**
 * Neither end of a connection that died in its sleep says so: what comes in is the only proof. `world`
 * brings the timers.
 */
export class ProofOfLife {
  #timers;
  #demands = 0; // tells a demand that was overtaken while the browser was still counting

  constructor(world = globalThis) {
    this.#timers = new NamedTimers(world);
  }

  /** Calls `missing` unless something comes in on the visit soon. */
  async demand(visit, missing) {
    this.cancel();
    const demand = this.#demands;
    const before = await visit.received();
    if (demand !== this.#demands) return;
    this.#timers.start('look', kPatienceMs, async () => {
      const after = await visit.received();
      if (demand === this.#demands && after === before) missing();
    });
  }

  cancel() {
    this.#demands += 1;
    this.#timers.cancelAll();
  }
}
