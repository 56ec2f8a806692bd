// Timers that run when the test says so, and sockets and visits that record what is asked of them.

export class FakeClock {
  now = 0;
  #timers = new Map();
  #next = 1;

  setTimeout = (action, milliseconds) => {
    this.#timers.set(this.#next, { at: this.now + milliseconds, action });
    return this.#next++;
  };

  clearTimeout = (id) => {
    this.#timers.delete(id);
  };

  /** Runs everything due within the time, in order. */
  advance(milliseconds) {
    const end = this.now + milliseconds;
    for (;;) {
      const due = [...this.#timers].filter(([, { at }]) => at <= end);
      if (due.length === 0) break;
      const [id, { at, action }] = due.reduce((a, b) => (b[1].at < a[1].at ? b : a));
      this.#timers.delete(id);
      this.now = at;
      action();
    }
    this.now = end;
  }

  get pending() {
    return this.#timers.size;
  }
}

/** Stands for localStorage. `values` are stored as JSON. */
export class FakeStorage {
  items = new Map();

  constructor(values = {}) {
    for (const [key, value] of Object.entries(values)) this.items.set(key, JSON.stringify(value));
  }

  getItem = (key) => this.items.get(key) ?? null;
  setItem = (key, text) => this.items.set(key, text);
  removeItem = (key) => this.items.delete(key);
}

/** Stands for SignalSocket: the test plays the server. */
export class FakeSignalSocket {
  sent = [];
  restarts = 0;
  closed = true;
  settledCount = 0;
  hurried = 0;
  renewals = 0;

  constructor(events) {
    this.events = events;
  }

  restart() {
    this.restarts += 1;
    this.closed = false;
  }

  close() {
    this.closed = true;
  }

  hurry() {
    this.hurried += 1;
  }

  renew() {
    this.renewals += 1;
  }

  settled() {
    this.settledCount += 1;
  }

  send(message) {
    this.sent.push(message);
  }

  get last() {
    return this.sent.at(-1);
  }
}

/** Stands for Visit: the test plays the peer connection. */
export class FakeVisit {
  accepted = [];
  candidates = [];
  closed = false;
  channel = null;
  heard = 0; // grows when the test lets something come in

  constructor(iceServers, send, events) {
    Object.assign(this, { iceServers, send, events });
  }

  async accept(sdp) {
    this.accepted.push(sdp);
    if (sdp === 'broken') throw new Error('not an offer');
  }

  addCandidate(message) {
    this.candidates.push(message);
  }

  async received() {
    return this.heard;
  }

  close() {
    this.closed = true;
  }
}

/** One key event with only what is read of it. */
export function keyEvent(key, code, modifiers = [], more = {}) {
  const held = new Set(modifiers);
  return {
    key,
    code,
    isComposing: false,
    repeat: false,
    ctrlKey: held.has('Control'),
    altKey: held.has('Alt'),
    metaKey: held.has('Meta'),
    shiftKey: held.has('Shift'),
    getModifierState: (name) => held.has(name),
    ...more,
  };
}

/** Records control messages as short texts: "m 0.5,0.5", "p0", "key 7b down 20000", "k hello". */
export class FakeControl {
  log = [];
  moveTo = ({ x, y }) => this.log.push(`m ${x},${y}`);
  press = (button) => this.log.push(`p${button}`);
  release = (button) => this.log.push(`r${button}`);
  scroll = (lines) => this.log.push(`w ${lines}`);
  type = (text) => this.log.push(`k ${text}`);
  key = (code, down, flags = 0) =>
    this.log.push(`key ${code.toString(16)} ${down ? 'down' : 'up'}${flags ? ` ${flags.toString(16)}` : ''}`);

  take() {
    return this.log.splice(0);
  }
}
