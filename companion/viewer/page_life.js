/**
 * Tells when the page comes back from where nothing runs: out of sight, out of the browser's cache of
 * pages left, or out of reach of any network. `back(awayMs)`: so long it was away; 0 when only the
 * network came back. `world` brings the window, its document and a clock.
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
