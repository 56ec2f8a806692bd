import { Viewport } from './viewport.js';

// A larger step than this to keep up with the pointer is shown as a movement, in CSS pixels.
const kGlideFrom = 40;

/**
 * The surface that is touched and the picture on it. Keeps the picture where the viewport says, in
 * a window that turns, changes its size, or is partly covered by a keyboard.
 */
export class Stage {
  #surface = document.getElementById('surface');
  #video = document.getElementById('picture');
  #room = document.getElementById('room');
  #seen = document.getElementById('seen');
  #viewport = new Viewport();
  #important;
  #covered = 0;

  /** `important()`: the place that a keyboard must not cover when it comes up. */
  constructor(important) {
    this.#important = important;
    const layOut = () => this.#layOut();
    const sizes = new ResizeObserver(layOut);
    for (const part of [this.#room, this.#seen]) sizes.observe(part);
    for (const event of ['loadedmetadata', 'resize']) this.#video.addEventListener(event, layOut);
    for (const event of ['transitionend', 'transitioncancel']) {
      this.#video.addEventListener(event, () => this.#video.classList.remove('gliding'));
    }
    // Otherwise phones make mouse events of touches, which move the focus and close the keyboard.
    this.#surface.addEventListener('touchstart', (event) => event.preventDefault(), { passive: false });
  }

  /** Covers everything: also beside the picture a finger can move the pointer. */
  get surface() {
    return this.#surface;
  }

  /** Where the picture lies on the page, or null without one. */
  get rect() {
    return this.#viewport.rect;
  }

  /** CSS pixels to a pixel of the picture. */
  get scale() {
    return this.#viewport.scale;
  }

  /** Fractions of the picture at a point of the page, or null while there is none. */
  locate(point) {
    return this.#viewport.locate(point);
  }

  /** Brings a place into view that has just become the important one. */
  follow(place) {
    const before = this.rect;
    this.#viewport.keepInView(place);
    const after = this.rect;
    if (!before) return;
    const step = Math.hypot(after.left - before.left, after.top - before.top);
    if (step === 0) return;
    if (step > kGlideFrom) this.#video.classList.add('gliding');
    this.#show();
  }

  /** Two fingers with this middle have spread by a factor and moved. */
  pinch(middle, factor, dx, dy) {
    this.#video.classList.remove('gliding');
    this.#viewport.panBy(dx, dy);
    this.#viewport.zoomAbout(middle, factor);
    this.#show();
  }

  settleZoom() {
    this.#viewport.settleZoom();
    this.#show();
  }

  #layOut() {
    const { videoWidth: width, videoHeight: height } = this.#video;
    const room = this.#room.getBoundingClientRect();
    const seen = this.#seen.getBoundingClientRect();
    this.#viewport.setPicture({ width, height });
    this.#viewport.layOut(room, seen);
    const covered = room.height - seen.height;
    if (covered > this.#covered) this.#viewport.keepInView(this.#important());
    this.#covered = covered;
    this.#show();
  }

  #show() {
    const { rect, scale } = this;
    if (!rect) return;
    const { videoWidth, videoHeight, style } = this.#video;
    style.width = `${videoWidth}px`;
    style.height = `${videoHeight}px`;
    style.transform = `translate(${rect.left}px, ${rect.top}px) scale(${scale})`;
    this.#video.classList.toggle('hard', this.#viewport.isHard(devicePixelRatio));
  }
}
