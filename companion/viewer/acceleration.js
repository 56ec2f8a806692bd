// Up to the lower speed the pointer is slow, for aiming; from the upper one on it is quick, to cross
// the screen in one stroke. CSS pixels of the finger a millisecond.
const kSlow = 0.08;
const kQuick = 1.1;
const kSlowGain = 0.55;
const kQuickGain = 2.4;
// Samples come unevenly; a speed of one of them alone jumps.
const kNewest = 0.5;
const kLeastMs = 4;
const kMostMs = 60;

/** How far the pointer goes for a finger's movement: the faster, the further. */
export class Acceleration {
  #speed = 0;
  #last = 0;

  begin(time) {
    this.#speed = 0;
    this.#last = time;
  }

  /** By how much to stretch a movement of so many CSS pixels that ended at this time. */
  gain(distance, time) {
    const elapsed = Math.min(Math.max(time - this.#last, kLeastMs), kMostMs);
    this.#last = time;
    this.#speed += kNewest * (distance / elapsed - this.#speed);
    const part = Math.min(Math.max((this.#speed - kSlow) / (kQuick - kSlow), 0), 1);
    return kSlowGain + part * (kQuickGain - kSlowGain);
  }
}
