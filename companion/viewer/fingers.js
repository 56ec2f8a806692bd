/** One finger on the glass. Lengths are CSS pixels, times milliseconds. */
class Finger {
  #startX;
  #startY;

  constructor({ x, y, time }) {
    this.since = time;
    this.strayed = 0;
    this.x = x;
    this.y = y;
    this.startHere();
  }

  /** Distances count from here on. */
  startHere() {
    this.#startX = this.x;
    this.#startY = this.y;
  }

  moveTo({ x, y }) {
    this.x = x;
    this.y = y;
    this.strayed = Math.max(this.strayed, Math.hypot(this.dx, this.dy));
  }

  /** How far it is from where it started. */
  get dx() {
    return this.x - this.#startX;
  }

  get dy() {
    return this.y - this.#startY;
  }
}

/** The fingers on the glass, in the order of their landing. */
export class Fingers {
  #byId = new Map();

  get count() {
    return this.#byId.size;
  }

  get all() {
    return [...this.#byId.values()];
  }

  land(sample) {
    const finger = new Finger(sample);
    this.#byId.set(sample.id, finger);
    return finger;
  }

  find({ id }) {
    return this.#byId.get(id);
  }

  lift({ id }) {
    this.#byId.delete(id);
  }

  forget() {
    this.#byId.clear();
  }
}
