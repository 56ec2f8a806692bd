const kKey = 'tovalin.touch';
const kHintMs = 8000;
const kHints = {
  trackpad: 'A finger moves the pointer, a tap clicks. Two fingers scroll; their tap is a right click.',
  direct: 'Tap what you want to click. Hold for a right click, scroll with two fingers.',
};

/** How fingers work, 'trackpad' or 'direct': chosen in the bar, explained in a line, remembered. */
export class TouchMode {
  #storage;
  #buttons = new Map(Object.keys(kHints).map((mode) => [mode, document.getElementById(`touch-${mode}`)]));
  #hint = document.getElementById('touch-hint');
  #timer = null;
  #mode;
  #isNew;

  /** `storage` as ComputerStore's. `changed(mode)`: another one is in use from now on. */
  constructor(storage, changed) {
    this.#storage = storage;
    this.#mode = this.#read();
    this.#isNew = this.#mode === null;
    this.#mode ??= 'trackpad';
    this.#mark();
    for (const [mode, button] of this.#buttons) {
      button.addEventListener('click', () => {
        if (mode !== this.#mode) changed(this.#mode = mode);
        this.#write();
        this.#mark();
        this.#explain();
      });
    }
  }

  get mode() {
    return this.#mode;
  }

  /** Somebody who is here for the first time is told how fingers work. */
  welcome() {
    if (this.#isNew) this.#explain();
    this.#isNew = false;
  }

  #quiet() {
    clearTimeout(this.#timer);
    this.#hint.hidden = true;
  }

  #explain() {
    this.#quiet();
    this.#hint.textContent = kHints[this.#mode];
    this.#hint.hidden = false;
    this.#timer = setTimeout(() => this.#quiet(), kHintMs);
  }

  #mark() {
    for (const [mode, button] of this.#buttons) {
      button.setAttribute('aria-pressed', String(mode === this.#mode));
    }
  }

  #read() {
    try {
      const mode = this.#storage().getItem(kKey);
      return mode in kHints ? mode : null;
    } catch {
      return null;
    }
  }

  #write() {
    try {
      this.#storage().setItem(kKey, this.#mode);
    } catch {
      // Forgotten with the page, then.
    }
  }
}
