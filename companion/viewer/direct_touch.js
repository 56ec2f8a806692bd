import { kButtons } from './cursor.js';
import { Fingers } from './fingers.js';
import { Scroller } from './scroller.js';
import { SeveralFingers } from './several_fingers.js';

const kSlop = 10;
const kLongPressMs = 550;
// Held this long, a finger is aiming: what it covers is shown beside it.
const kAimingMs = 180;
// Two taps within this time and distance mean one place, which a fingertip never hits twice.
const kSamePlaceMs = 500;
const kSamePlace = 28;

/**
 * The finger is the pointer. Takes the samples that Trackpad takes. `stage` is what is touched:
 * locate(point), scale, pinch(...), settleZoom(). `hints`: magnify(point), noMagnifier() and
 * pulse(), a short vibration.
 */
export class DirectTouch {
  #cursor;
  #stage;
  #timer;
  #hints;
  #fingers = new Fingers();
  #scroller;
  #several;
  // idle; touching: a tap, a long press or a drag; dragging; several; spent: nothing more comes of
  // this finger alone; over: nothing more until all fingers are gone
  #phase = 'idle';
  #pending = [];
  #lastTap = null;

  constructor(cursor, stage, timer, hints) {
    this.#cursor = cursor;
    this.#stage = stage;
    this.#timer = timer;
    this.#hints = hints;
    this.#scroller = new Scroller((lines) => cursor.scroll(lines), timer);
    this.#several = new SeveralFingers(this.#scroller, {
      tapped: () => {},
      scrolls: (middle) => {
        const place = stage.locate(middle);
        if (place) cursor.moveTo(place);
        this.#scroller.begin(stage.scale);
      },
      pinched: (...change) => stage.pinch(...change),
      pinchEnds: () => stage.settleZoom(),
    });
  }

  sees(sample) {
    if (sample.type === 'down') return this.#landed(sample);
    const finger = this.#fingers.find(sample);
    if (!finger) return;
    if (sample.type === 'move') this.#moved(finger, sample);
    else if (sample.type === 'up') this.#lifted(finger, sample);
    else this.releaseAll();
  }

  /** Whatever is going on ends here; fingers that are still down count no more. */
  releaseAll() {
    if (this.#phase === 'dragging') this.#cursor.release(kButtons.left);
    this.#enter('idle');
    this.#several.cancel();
    this.#scroller.stop();
    this.#fingers.forget();
  }

  #landed(sample) {
    // A finger whose lifting was never told must not stay for good.
    if (sample.isFirst && this.#fingers.count > 0) this.releaseAll();
    const stopped = this.#scroller.isRolling;
    this.#scroller.stop();
    const finger = this.#fingers.land(sample);
    if (this.#fingers.count === 1) return this.#landedAlone(finger, stopped);
    if (this.#phase === 'several') return this.#several.land(this.#fingers.count);
    if (this.#phase === 'dragging') {
      this.#cursor.release(kButtons.left);
      return this.#enter('over');
    }
    if (this.#phase === 'over') return;
    this.#lastTap = null;
    this.#enter('several');
    this.#several.begin(this.#fingers.all, false, sample.time);
  }

  #landedAlone(finger, stopped) {
    const place = this.#stage.locate(finger);
    if (stopped || !place?.onPicture) return this.#enter('spent');
    this.#enter('touching');
    this.#cursor.moveTo(this.#isLastTap(finger) ? this.#lastTap.place : place);
    this.#after(kAimingMs, () => this.#hints.magnify(finger));
    this.#after(kLongPressMs, () => {
      this.#hints.pulse();
      this.#enter('spent');
      this.#cursor.click(kButtons.right);
    });
  }

  #moved(finger, sample) {
    if (this.#phase === 'several') this.#several.beforeMove(sample.time);
    finger.moveTo(sample);
    switch (this.#phase) {
      case 'several':
        return this.#several.moved(finger, sample.time);
      case 'touching':
        if (finger.strayed <= kSlop) return;
        this.#cursor.press(kButtons.left);
        this.#enter('dragging');
        return this.#drag(finger);
      case 'dragging':
        return this.#drag(finger);
    }
  }

  #drag(finger) {
    const place = this.#stage.locate(finger);
    if (place) this.#cursor.moveTo(place);
    this.#hints.magnify(finger);
  }

  #lifted(finger, sample) {
    this.#fingers.lift(sample);
    const left = this.#fingers.count;
    if (this.#phase === 'several') this.#several.lift(left, sample.time);
    if (this.#phase === 'touching') {
      this.#cursor.click(kButtons.left);
      this.#lastTap = { x: finger.x, y: finger.y, time: sample.time, place: this.#cursor.place };
    }
    if (this.#phase === 'dragging') this.#cursor.release(kButtons.left);
    if (left === 0) this.#enter('idle');
  }

  #isLastTap({ x, y, since }) {
    const last = this.#lastTap;
    return last !== null && since - last.time <= kSamePlaceMs &&
      Math.hypot(x - last.x, y - last.y) <= kSamePlace;
  }

  #enter(phase) {
    for (const id of this.#pending.splice(0)) this.#timer.clearTimeout(id);
    this.#phase = phase;
    if (phase !== 'dragging') this.#hints.noMagnifier();
  }

  #after(milliseconds, action) {
    this.#pending.push(this.#timer.setTimeout(action, milliseconds));
  }
}
