// What the fingers did in this time before they were lifted is how fast they threw.
const kThrowMs = 90;
// Slower than this is no throw, and a throw slower than this is over; CSS pixels a millisecond.
const kLeastThrow = 0.25;
const kLeastSpeed = 0.05;
const kMostSpeed = 6;
// In this time a throw loses two thirds of its speed.
const kDecayMs = 325;
const kStepMs = 16;
// One line is one click of a wheel, by which programs move about this many of their own pixels.
const kLinePixels = 50;
// Of the fingers, at least: small pictures would scroll wildly otherwise.
const kLeastLine = 16;

/**
 * Scrolling by fingers: what they push follows them in whole lines, and rolls on when it was thrown.
 * `timer`: setTimeout, clearTimeout and now, in milliseconds.
 */
export class Scroller {
  #scroll;
  #timer;
  #pixelsPerLine = 1;
  #rest = 0;
  #track = []; // [time, pixels] of the latest movements
  #speed = 0;
  #step = null;

  /** `scroll(lines)` gets whole lines, positive up, and never none. */
  constructor(scroll, timer) {
    this.#scroll = scroll;
    this.#timer = timer;
  }

  get isRolling() {
    return this.#step !== null;
  }

  /** `scale`: CSS pixels to a pixel of the picture. */
  begin(scale) {
    this.stop();
    this.#pixelsPerLine = Math.max(kLinePixels * scale, kLeastLine);
    this.#rest = 0;
    this.#track = [];
  }

  /** The fingers have moved by so many CSS pixels, positive down. */
  drag(pixels, time) {
    this.#track.push([time, pixels]);
    this.#push(pixels);
  }

  /** The fingers have been lifted. */
  letGo(time) {
    const recent = this.#track.filter(([at]) => at >= time - kThrowMs);
    if (recent.length < 2) return;
    const way = recent.slice(1).reduce((sum, [, pixels]) => sum + pixels, 0);
    const speed = way / Math.max(time - recent[0][0], kStepMs);
    if (Math.abs(speed) < kLeastThrow) return;
    this.#speed = Math.min(Math.max(speed, -kMostSpeed), kMostSpeed);
    this.#roll(this.#timer.now());
  }

  stop() {
    if (this.#step !== null) this.#timer.clearTimeout(this.#step);
    this.#step = null;
  }

  #roll(from) {
    this.#step = this.#timer.setTimeout(() => {
      this.#step = null;
      const now = this.#timer.now();
      const kept = Math.exp((from - now) / kDecayMs);
      this.#push(this.#speed * kDecayMs * (1 - kept));
      this.#speed *= kept;
      if (Math.abs(this.#speed) >= kLeastSpeed) this.#roll(now);
    }, kStepMs);
  }

  #push(pixels) {
    this.#rest += pixels / this.#pixelsPerLine;
    const lines = Math.trunc(this.#rest);
    this.#rest -= lines;
    if (lines !== 0) this.#scroll(lines);
  }
}
