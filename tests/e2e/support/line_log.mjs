/** The lines a program has printed, and the next one that a test waits for. */
export class LineLog {
  #name;
  #lines = [];
  #waiting = new Set();
  #rest = '';
  #ended = null;

  constructor(name) {
    this.#name = name;
  }

  follow(stream) {
    stream.setEncoding('utf8');
    stream.on('data', (text) => {
      const parts = (this.#rest + text).split('\n');
      this.#rest = parts.pop();
      for (const line of parts) this.add(line);
    });
  }

  add(line) {
    this.#lines.push(line);
    for (const waiter of this.#waiting) {
      const match = waiter.pattern.exec(line);
      if (!match) continue;
      this.#waiting.delete(waiter);
      clearTimeout(waiter.timer);
      waiter.resolve(Object.assign(match, { mark: this.mark() }));
    }
  }

  /** No line will follow; whoever still waits is told why. */
  end(reason) {
    this.#ended = reason;
    for (const waiter of this.#waiting) {
      clearTimeout(waiter.timer);
      waiter.fail(this.#trouble(waiter.pattern, reason));
    }
    this.#waiting.clear();
  }

  /** A place to look from: lines printed before it do not count. */
  mark() {
    return this.#lines.length;
  }

  get lines() {
    return [...this.#lines];
  }

  count(pattern, since = 0) {
    return this.#lines.slice(since).filter((line) => pattern.test(line)).length;
  }

  /**
   * The match of the first line since the mark that fits, printed already or within the bound. Its
   * `mark` is the place behind that line.
   */
  next(pattern, { since = 0, within = 30000 } = {}) {
    for (const [index, line] of this.#lines.slice(since).entries()) {
      const match = pattern.exec(line);
      if (match) return Promise.resolve(Object.assign(match, { mark: since + index + 1 }));
    }
    if (this.#ended) return Promise.reject(this.#trouble(pattern, this.#ended));
    return new Promise((resolve, fail) => {
      const waiter = { pattern, fail, resolve };
      this.#waiting.add(waiter);
      waiter.timer = setTimeout(() => {
        this.#waiting.delete(waiter);
        fail(this.#trouble(pattern, `not within ${within} ms`));
      }, within);
    });
  }

  #trouble(pattern, reason) {
    const last = this.#lines.slice(-12).map((line) => `  | ${line}`).join('\n');
    return new Error(`${this.#name} did not print ${pattern}: ${reason}\n${last}`);
  }
}
