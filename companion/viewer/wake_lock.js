/**
 * Keeps this device's screen on while it is wanted. The browser lets go of it whenever the page is
 * out of sight, so it is asked for again each time the page comes back. Where the browser cannot do
 * it, or will not (a low battery), the screen goes dark as usual.
 */
export class WakeLock {
  #page;
  #locks;
  #lock = null; // the browser's, or its promise of one
  #wanted = false;

  constructor(page = document, locks = navigator.wakeLock) {
    this.#page = page;
    this.#locks = locks;
    page.addEventListener('visibilitychange', () => this.#update());
  }

  want(wanted) {
    this.#wanted = wanted;
    this.#update();
  }

  async #update() {
    if (!this.#locks) return;
    if (!this.#wanted) return this.#release();
    if (this.#page.hidden || this.#lock) return;
    const asked = this.#locks.request('screen');
    this.#lock = asked;
    try {
      const lock = await asked;
      lock.addEventListener('release', () => this.#forget(asked));
      if (lock.released) this.#forget(asked);
    } catch {
      this.#forget(asked);
    }
  }

  async #release() {
    const lock = this.#lock;
    this.#lock = null;
    await lock?.then((held) => held.release()).catch(() => {});
  }

  #forget(asked) {
    if (this.#lock === asked) this.#lock = null;
  }
}
