// All fingers down and up again within this time, and hardly moved, are a tap.
const kTapMs = 500;
const kTapSlop = 14;
// Two fingers that have moved this far, in CSS pixels, show what they are about.
const kDecidedAt = 9;
// Closer than any two fingertips; keeps a tiny distance from becoming a huge factor.
const kLeastSpread = 24;

const middleOf = ([a, b]) => ({ x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 });
const spreadOf = ([a, b]) => Math.max(Math.hypot(a.x - b.x, a.y - b.y), kLeastSpread);

/**
 * What two or three fingers do together, from the landing of the second to the lifting of the last:
 * a tap, or a scroll, or a pinch. Once it is one of them it stays that. `events`:
 *   tapped(count)        that many fingers tapped
 *   scrolls(middle)      a scroll begins; it goes to `scroller`. Their middle as they landed
 *   pinched(middle, factor, dx, dy)   the fingers' middle, and what has changed since the last time
 *   pinchEnds()
 */
export class SeveralFingers {
  #scroller;
  #events;
  #kind = 'over'; // open: could still be anything; tap: nothing but a tap; scroll; pinch; over
  #pair = [];
  #most = 0;
  #since = 0;
  #lastTime = 0;
  #middle = null;
  #spread = 0;

  constructor(scroller, events) {
    this.#scroller = scroller;
    this.#events = events;
  }

  /** `fingers`: the two that are down. `mayTap`: nothing has been done with the first one yet. */
  begin(fingers, mayTap, time) {
    for (const finger of fingers) finger.startHere();
    this.#kind = 'open';
    this.#pair = fingers;
    this.#most = mayTap ? fingers.length : 0;
    this.#since = fingers[0].since;
    this.#lastTime = time;
  }

  /** One more has landed. */
  land(count) {
    if (this.#kind !== 'open' && this.#kind !== 'tap') return;
    if (this.#most > 0) this.#most = Math.max(this.#most, count);
    this.#kind = 'tap';
  }

  /** To be called before the movement of one finger is noted, with its time. */
  beforeMove(time) {
    // The fingers of one moment are told one after the other: only when time has gone on is it known
    // how all of them have moved.
    if (time > this.#lastTime && this.#kind === 'open') this.#decide();
    this.#lastTime = time;
  }

  moved(finger, time) {
    if (finger.strayed > kTapSlop) this.#most = 0;
    if (this.#kind !== 'scroll' && this.#kind !== 'pinch') return;
    const middle = middleOf(this.#pair);
    const [dx, dy] = [middle.x - this.#middle.x, middle.y - this.#middle.y];
    this.#middle = middle;
    if (this.#kind === 'scroll') return this.#scroller.drag(dy, time);
    const spread = spreadOf(this.#pair);
    this.#events.pinched(middle, spread / this.#spread, dx, dy);
    this.#spread = spread;
  }

  /** One has been lifted; so many are left. */
  lift(left, time) {
    if (this.#kind === 'scroll') this.#scroller.letGo(time);
    if (this.#kind === 'pinch') this.#events.pinchEnds();
    const mayTap = this.#kind === 'open' || this.#kind === 'tap';
    this.#kind = mayTap && left > 0 ? 'tap' : 'over';
    if (mayTap && left === 0 && this.#most > 0 && time - this.#since <= kTapMs) {
      this.#events.tapped(this.#most);
    }
  }

  /** Forgets everything; nothing is tapped any more. */
  cancel() {
    if (this.#kind === 'pinch') this.#events.pinchEnds();
    this.#kind = 'over';
  }

  #decide() {
    const [a, b] = this.#pair;
    const before = Math.hypot(a.x - a.dx - (b.x - b.dx), a.y - a.dy - (b.y - b.dy));
    const spreading = Math.abs(Math.hypot(a.x - b.x, a.y - b.y) - before);
    const moving = Math.hypot(a.dx + b.dx, a.dy + b.dy) / 2;
    if (Math.max(spreading, moving) < kDecidedAt) return;
    this.#middle = middleOf(this.#pair);
    this.#spread = spreadOf(this.#pair);
    this.#kind = spreading > moving ? 'pinch' : 'scroll';
    if (this.#kind !== 'scroll') return;
    const { x, y } = this.#middle;
    this.#events.scrolls({ x: x - (a.dx + b.dx) / 2, y: y - (a.dy + b.dy) / 2 });
  }
}
