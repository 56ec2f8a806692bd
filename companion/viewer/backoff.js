// The pauses between attempts to reach the server again: the same growing row the host uses, so
// that both come back about together after an outage.
const kFirstSeconds = 1;
const kLongestSeconds = 15;

export class Backoff {
  #seconds = kFirstSeconds;

  /** Seconds to wait before the next attempt: 1, 2, 4, 8, 15, 15, … */
  next() {
    const seconds = this.#seconds;
    this.#seconds = Math.min(seconds * 2, kLongestSeconds);
    return seconds;
  }

  /** The server answered: the next outage begins with a short wait again. */
  reset() {
    this.#seconds = kFirstSeconds;
  }
}
