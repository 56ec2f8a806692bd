/**
 * The modifier keys: which the person holds, and which of them the host knows to be down. They part
 * when text is typed: the text already is the character that Shift or Option made, and a modifier
 * held on the host's side as well could turn it into something else.
 */
export class HeldModifiers {
  #send;
  #held = new Map(); // virtual key code -> whether the host holds it

  /** `send(code, down)` posts the key. */
  constructor(send) {
    this.#send = send;
  }

  /** `later`: tell the host only once something needs it. */
  press(code, later) {
    const told = this.#held.get(code) ?? false;
    this.#held.set(code, told || !later);
    if (!told && !later) this.#send(code, true);
  }

  release(code) {
    if (this.#held.get(code)) this.#send(code, false);
    this.#held.delete(code);
  }

  /** Before a raw key, a press or a scroll: the host must hold what the person holds. */
  engage() {
    this.#tellAll(true);
  }

  /** Before text. */
  disengage() {
    this.#tellAll(false);
  }

  releaseAll() {
    this.disengage();
    this.#held.clear();
  }

  #tellAll(down) {
    for (const [code, told] of this.#held) {
      if (told === down) continue;
      this.#held.set(code, down);
      this.#send(code, down);
    }
  }
}
