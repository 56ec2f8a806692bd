const clamp = (value) => Math.min(Math.max(value, 0), 1);

/**
 * The computer's pointer: one place that mouse, pen and fingers share, so that each takes it over
 * where the other left it. The computer does not tell where its pointer is; until something here
 * has moved it, it is taken to be in the middle. `engage()` is called before every press and
 * scroll, so that held modifiers reach the computer first; `leave()` before every press, which may
 * move the caret.
 */
export class Cursor {
  #control;
  #engage;
  #leave;
  #place = { x: 0.5, y: 0.5 };

  constructor(control, engage, leave = () => {}) {
    this.#control = control;
    this.#engage = engage;
    this.#leave = leave;
  }

  /** Fractions of the picture. */
  get place() {
    return this.#place;
  }

  moveTo({ x, y }) {
    this.#place = { x, y };
    this.#control.moveTo(this.#place);
  }

  moveBy({ x, y }) {
    this.moveTo({ x: clamp(this.#place.x + x), y: clamp(this.#place.y + y) });
  }

  press(button) {
    this.#leave();
    this.#engage();
    this.#control.press(button);
  }

  release(button) {
    this.#control.release(button);
  }

  click(button) {
    this.press(button);
    this.release(button);
  }

  /** Whole lines, positive up. */
  scroll(lines) {
    this.#engage();
    this.#control.scroll(lines);
  }
}

/** The computer's numbers of the buttons. */
export const kButtons = Object.freeze({ left: 0, right: 1, middle: 2 });
