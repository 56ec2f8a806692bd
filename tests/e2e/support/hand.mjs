const kSteps = 8;
const kStepMs = 16;
const kTapMs = 50;
// The browser knows no time before the page's; the hand's begins a little later.
const kBeginsMs = 100;

/**
 * Fingers on a phone's glass, each known by a number of the test's choice. Points are [x, y] in CSS
 * pixels of the page. What is done bears the hand's own time, so that a slow machine cannot make a
 * resting finger of a tap.
 */
export class Hand {
  #session;
  #points = new Map();
  #sent = [];
  #now;

  static async of(phone) {
    const hand = new Hand();
    hand.#session = await phone.page.context().newCDPSession(phone.page);
    hand.#now = kBeginsMs + (await phone.page.evaluate(() => performance.timeOrigin));
    return hand;
  }

  down(id, [x, y]) {
    this.#points.set(id, { x, y, id });
    return this.#tell('touchStart');
  }

  /** {id: [x, y]}: all of these at the same moment. */
  move(places) {
    for (const [id, [x, y]] of Object.entries(places)) this.#points.set(Number(id), { x, y, id: Number(id) });
    return this.#tell('touchMove');
  }

  /** {id: [from, to]}, in steps of one frame each. */
  async stroke(ways, steps = kSteps) {
    for (let step = 1; step <= steps; ++step) {
      const places = Object.entries(ways).map(([id, [from, to]]) =>
        [id, from.map((start, axis) => start + ((to[axis] - start) * step) / steps)]);
      this.pause(kStepMs).move(Object.fromEntries(places));
      // Otherwise the browser would make one movement of several.
      await this.done();
    }
  }

  /** Lets time pass for the fingers, though not for anybody's timers. */
  pause(milliseconds) {
    this.#now += milliseconds;
    return this;
  }

  up(id) {
    this.#points.delete(id);
    return this.#tell(this.#points.size > 0 ? 'touchMove' : 'touchEnd');
  }

  /** As when a call comes in. */
  cancel() {
    this.#points.clear();
    return this.#tell('touchCancel');
  }

  tap(point) {
    return this.tapWith(point);
  }

  /** All fingers down and up again, together. */
  tapWith(...points) {
    for (const [index, point] of points.entries()) this.down(index + 1, point);
    this.pause(kTapMs);
    for (const index of points.keys()) this.up(index + 1);
    return this.pause(kTapMs);
  }

  /** The page has been told everything. */
  async done() {
    await Promise.all(this.#sent.splice(0));
  }

  #tell(type) {
    const touchPoints = [...this.#points.values()];
    const timestamp = this.#now / 1000;
    this.#sent.push(this.#session.send('Input.dispatchTouchEvent', { type, touchPoints, timestamp }));
    return this;
  }
}
