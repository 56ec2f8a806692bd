import { WheelLines } from './wheel.js';

// Bits of PointerEvent.buttons in the order of the host's button codes: left, right, middle.
const kBits = [1, 2, 4];

/**
 * Mouse and pen on the picture as the computer's own pointer. `locate(point)` gives the fractions of
 * the picture, or null without one. Fingers are TouchInput's.
 */
export class Pointer {
  #cursor;
  #locate;
  #wheel = new WheelLines();
  #held = new Set();
  #active = null; // the pointer that holds buttons; another one is ignored meanwhile

  constructor(cursor, locate) {
    this.#cursor = cursor;
    this.#locate = locate;
  }

  attach(target) {
    target.addEventListener('pointerdown', (event) => {
      if (this.#track(event)) target.setPointerCapture?.(event.pointerId);
    });
    target.addEventListener('pointermove', (event) => this.#track(event));
    target.addEventListener('pointerup', (event) => this.#track(event));
    for (const ending of ['pointercancel', 'lostpointercapture']) {
      target.addEventListener(ending, ({ pointerId }) => {
        if (pointerId === this.#active) this.releaseAll();
      });
    }
    target.addEventListener('wheel', (event) => this.#scroll(event), { passive: false });
    target.addEventListener('contextmenu', (event) => event.preventDefault());
  }

  releaseAll() {
    for (const button of this.#held) this.#cursor.release(button);
    this.#held.clear();
    this.#active = null;
  }

  // While one button is held browsers report the others as moves, so every event is compared with
  // what is held. Returns whether this pointer holds anything now.
  #track(event) {
    if (event.pointerType === 'touch') return false;
    if (this.#active !== null && event.pointerId !== this.#active) return false;
    const place = this.#locate({ x: event.clientX, y: event.clientY });
    if (!place) {
      this.releaseAll();
      return false;
    }
    const wanted = kBits.map((bit) => (event.buttons & bit) !== 0);
    const starts = this.#held.size === 0 && wanted.includes(true);
    if (starts && (event.type !== 'pointerdown' || !place.onPicture)) return false;

    this.#cursor.moveTo(place);
    for (const [button, down] of wanted.entries()) {
      if (down === this.#held.has(button)) continue;
      if (down) this.#press(button);
      else this.#release(button);
    }
    this.#active = this.#held.size > 0 ? event.pointerId : null;
    return this.#active !== null;
  }

  #press(button) {
    this.#held.add(button);
    this.#cursor.press(button);
  }

  #release(button) {
    this.#held.delete(button);
    this.#cursor.release(button);
  }

  #scroll(event) {
    event.preventDefault();
    const lines = this.#wheel.take(event);
    const place = this.#locate({ x: event.clientX, y: event.clientY });
    if (!place?.onPicture || lines === 0) return;
    this.#cursor.moveTo(place);
    this.#cursor.scroll(lines);
  }
}
