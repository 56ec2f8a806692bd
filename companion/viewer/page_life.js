const kBeatMs = 2000;
const kSleepMs = 10000; // no browser that is awake is so late

/**
 * Tells when the page comes back from where nothing runs: out of sight, out of the browser's cache of
 * pages left, out of the sleep of the whole device, or out of reach of any network. `back(awayMs)`: so long it was away; 0 when only the
 * network came back. `world` brings the window, its document,
 * timers and a clock.
 */
export class PageLife {
  #back;
  #world;
  #since = null; // when it went out of sight

  constructor(back, world = globalThis) {
    this.#back = back;
    this.#world = world;
    const { document } = world;
    if (document.hidden) this.#gone();
    document.addEventListener('visibilitychange', () =>
      document.hidden ? this.#gone() : this.#returned());
    world.addEventListener('pagehide', () => this.#gone());
    world.addEventListener('pageshow', ({ persisted }) => persisted && this.#returned());
    world.addEventListener('online', () => this.#back(0));
    this.#beat(world.Date.now());
  }

  // A device that slept with the page in sight says nothing of it; its clock does. Out of sight,
  // browsers themselves make timers wait.
  #beat(last) {
    const now = this.#world.Date.now();
    if (this.#since === null && now - last >= kSleepMs) this.#back(now - last);
    this.#world.setTimeout(() => this.#beat(now), kBeatMs);
  }

  #gone() {
    this.#since ??= this.#world.Date.now();
  }

  #returned() {
    if (this.#since === null) return;
    const away = this.#world.Date.now() - this.#since;
    this.#since = null;
    this.#back(away);
  }
}
