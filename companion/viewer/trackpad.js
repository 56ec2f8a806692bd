import { Acceleration } from './acceleration.js';
import { kButtons } from './cursor.js';
import { Fingers } from './fingers.js';
import { Scroller } from './scroller.js';
import { SeveralFingers } from './several_fingers.js';

// Lifted within this time, and hardly moved, a finger has tapped.
const kTapMs = 300;
const kTapSlop = 8;
// A finger that lands again within this time after a tap goes on with it: a second tap, or a drag.
const kAgainMs = 220;
const kButtonOf = { 2: kButtons.right, 3: kButtons.middle }; // fingers that tapped

/**
 * The whole glass as a touch pad: fingers move the pointer from where it is. A tap presses at once
 * and releases a little later, so that a finger which comes back can turn it into a drag.
 *
 * `sees(sample)` takes {id, type, x, y, time, isFirst}: type is down, move, up or cancel, and isFirst
 * says that no other finger is down. `stage` is what is touched: rect, scale, follow(place),
 * pinch(...), settleZoom(). `timer` as Scroller's.
 */
export class Trackpad {
  #cursor;
  #stage;
  #timer;
  #fingers = new Fingers();
  #acceleration = new Acceleration();
  #scroller;
  #several;
  // idle; touching: a tap or a stroke; pointing; tapped: no finger, the button is down; again: a
  // finger came back; dragging; several; spent: until all fingers are gone
  #phase = 'idle';
  #mayTap = false;
  #pending = null;

  constructor(cursor, stage, timer) {
    this.#cursor = cursor;
    this.#stage = stage;
    this.#timer = timer;
    this.#scroller = new Scroller((lines) => cursor.scroll(lines), timer);
    this.#several = new SeveralFingers(this.#scroller, {
      tapped: (count) => {
        if (count in kButtonOf) cursor.click(kButtonOf[count]);
      },
      scrolls: () => this.#scroller.begin(stage.scale),
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
    if (this.#holdsButton) this.#cursor.release(kButtons.left);
    this.#enter('idle');
    this.#several.cancel();
    this.#scroller.stop();
    this.#fingers.forget();
  }

  get #holdsButton() {
    return ['tapped', 'again', 'dragging'].includes(this.#phase);
  }

  #landed(sample) {
    // A finger whose lifting was never told must not stay for good.
    if (sample.isFirst && this.#fingers.count > 0) this.releaseAll();
    const stopped = this.#scroller.isRolling;
    this.#scroller.stop();
    this.#fingers.land(sample);
    if (this.#fingers.count === 1) this.#landedAlone(!stopped, sample.time);
    else if (this.#phase === 'several') this.#several.land(this.#fingers.count);
    else if (this.#phase !== 'spent') this.#landedBeside(sample);
  }

  #landedAlone(mayTap, time) {
    this.#mayTap = mayTap;
    this.#acceleration.begin(time);
    if (this.#phase === 'tapped') {
      this.#enter('again', kTapMs, () => this.#enter('dragging'));
      return;
    }
    // Somebody may have moved the mouse at the computer.
    this.#cursor.moveTo(this.#cursor.place);
    this.#enter('touching', kTapMs, () => this.#enter('pointing'));
  }

  #landedBeside({ time }) {
    const wasDragging = this.#phase === 'dragging';
    const mayTap = this.#mayTap && ['touching', 'again'].includes(this.#phase);
    if (this.#holdsButton) this.#cursor.release(kButtons.left);
    this.#enter(wasDragging ? 'spent' : 'several');
    if (!wasDragging) this.#several.begin(this.#fingers.all, mayTap, time);
  }

  #moved(finger, sample) {
    if (this.#phase === 'several') {
      this.#several.beforeMove(sample.time);
      finger.moveTo(sample);
      this.#several.moved(finger, sample.time);
      return;
    }
    const [dx, dy] = [sample.x - finger.x, sample.y - finger.y];
    finger.moveTo(sample);
    if (this.#phase === 'touching' || this.#phase === 'again') {
      if (finger.strayed <= kTapSlop) return;
      this.#acceleration.begin(sample.time);
      this.#enter(this.#phase === 'again' ? 'dragging' : 'pointing');
    } else if (this.#phase === 'pointing' || this.#phase === 'dragging') {
      this.#point(dx, dy, sample.time);
    }
  }

  #point(dx, dy, time) {
    const gain = this.#acceleration.gain(Math.hypot(dx, dy), time);
    const { rect } = this.#stage;
    if (!rect) return;
    this.#cursor.moveBy({ x: (dx * gain) / rect.width, y: (dy * gain) / rect.height });
    this.#stage.follow(this.#cursor.place);
  }

  #lifted(finger, sample) {
    this.#fingers.lift(sample);
    const left = this.#fingers.count;
    // The time of the finger counts, not the timer's: a busy page hears of both late.
    const tapped = finger.strayed <= kTapSlop && sample.time - finger.since <= kTapMs;
    switch (this.#phase) {
      case 'several':
        this.#several.lift(left, sample.time);
        if (left === 0) this.#enter('idle');
        return;
      case 'again':
      case 'dragging':
        this.#cursor.release(kButtons.left);
        return tapped ? this.#tap() : this.#enter('idle');
      case 'touching':
      case 'pointing':
        return tapped && this.#mayTap ? this.#tap() : this.#enter('idle');
      case 'spent':
        if (left === 0) this.#enter('idle');
    }
  }

  #tap() {
    this.#cursor.press(kButtons.left);
    this.#enter('tapped', kAgainMs, () => {
      this.#cursor.release(kButtons.left);
      this.#enter('idle');
    });
  }

  /** With a time: what comes next by itself. */
  #enter(phase, milliseconds, next) {
    if (this.#pending !== null) this.#timer.clearTimeout(this.#pending);
    this.#pending = null;
    this.#phase = phase;
    if (!next) return;
    this.#pending = this.#timer.setTimeout(() => {
      this.#pending = null;
      next();
    }, milliseconds);
  }
}
