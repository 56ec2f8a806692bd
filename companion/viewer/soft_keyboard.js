// Less than any keyboard's height, more than the bars with which browsers come and go.
const kKeyboardAtLeast = 120;

/**
 * Tells the style sheets which part of the page a phone's keyboard leaves to see: --above and
 * --covered are the lengths hidden at the upper and the lower end.
 */
export class SoftKeyboard {
  #viewport;
  #page;
  #closed;
  #isOpen = false;

  /** `closed()`: a keyboard that was there has gone. */
  constructor(viewport, page, closed) {
    this.#viewport = viewport;
    this.#page = page;
    this.#closed = closed;
    viewport.addEventListener('resize', () => this.#look());
    viewport.addEventListener('scroll', () => this.#look());
    this.#look();
  }

  #look() {
    const { height, offsetTop, scale } = this.#viewport;
    // Magnified, the visible part is small for another reason.
    if (scale > 1.01) return;
    const covered = Math.max(0, this.#page.clientHeight - offsetTop - height);
    this.#page.style.setProperty('--above', `${offsetTop}px`);
    this.#page.style.setProperty('--covered', `${covered}px`);
    const wasOpen = this.#isOpen;
    this.#isOpen = this.#page.clientHeight - height > kKeyboardAtLeast;
    if (wasOpen && !this.#isOpen) this.#closed();
  }
}
