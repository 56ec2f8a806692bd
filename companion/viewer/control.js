// A stalled connection must not pile up positions that nobody needs any more.
const kMovesUpToBytes = 64 * 1024;

/**
 * The control messages, in the order they are given. Moves are gathered until the next animation
 * frame, but always leave before anything that comes after them. `channel` returns the open data
 * channel or null; input without one is dropped.
 */
export class Control {
  #channel;
  #frames;
  #move = null;
  #frame = null;

  constructor(channel, frames = globalThis) {
    this.#channel = channel;
    this.#frames = frames;
  }

  get isOpen() {
    return this.#channel()?.readyState === 'open';
  }

  moveTo({ x, y }) {
    this.#move = { t: 'm', x, y };
    this.#frame ??= this.#frames.requestAnimationFrame(() => {
      this.#frame = null;
      this.#flushMove(true);
    });
  }

  press(button) {
    this.#send({ t: 'p', b: button });
  }

  release(button) {
    this.#send({ t: 'r', b: button });
  }

  /** Whole lines, positive up. */
  scroll(lines) {
    if (lines !== 0) this.#send({ t: 'w', d: lines });
  }

  type(text) {
    if (text) this.#send({ t: 'k', s: text });
  }

  key(code, down, flags = 0) {
    this.#send({ t: 'key', c: code, d: down, f: flags });
  }

  unlock(password) {
    this.#send({ t: 'unlock', pw: password });
  }

  #send(message) {
    this.#flushMove(false);
    if (this.isOpen) this.#channel().send(JSON.stringify(message));
  }

  #flushMove(droppable) {
    const move = this.#move;
    this.#move = null;
    if (!move || !this.isOpen) return;
    const channel = this.#channel();
    if (droppable && channel.bufferedAmount > kMovesUpToBytes) return;
    channel.send(JSON.stringify(move));
  }
}
