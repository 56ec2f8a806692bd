const kHoldMs = 400;

/** A button that tells taps from being held, and leaves the focus where it is. */
export class HoldButton {
  #timers;
  #timer = null;
  #wasHeld = false;

  /**
   * `tap(event)`; `hold()` once it has been held for a while and, with `everyMs`, again and again
   * until it is let go.
   */
  constructor(button, { tap, hold, everyMs = null }, timers = globalThis) {
    this.#timers = timers;
    const holding = () => {
      this.#wasHeld = true;
      if (everyMs !== null) this.#timer = timers.setTimeout(holding, everyMs);
      hold();
    };
    button.addEventListener('pointerdown', () => {
      this.stop();
      this.#wasHeld = false;
      this.#timer = timers.setTimeout(holding, kHoldMs);
    });
    for (const ending of ['pointerup', 'pointercancel', 'pointerleave']) {
      button.addEventListener(ending, () => this.stop());
    }
    button.addEventListener('mousedown', (event) => event.preventDefault());
    button.addEventListener('contextmenu', (event) => event.preventDefault());
    button.addEventListener('click', (event) => {
      // Clicks of assistive technology come without a pointer.
      if (!this.#wasHeld) tap(event);
      this.#wasHeld = false;
    });
  }

  stop() {
    this.#timers.clearTimeout(this.#timer);
  }
}
