import { Backoff } from './backoff.js';

// The same device joined from elsewhere. Coming back would take the visit from the other window,
// which would come back too.
const kReplaced = 4001;

/**
 * The page's one connection to the signalling server. Once opened it comes back by itself until it
 * is closed. `events`: opened(), received(message), dropped() (once an outage, the first failure
 * included), replaced() (this device has joined from elsewhere; the socket stays closed). `world` brings WebSocket and the timers, so that tests can bring their own.
 */
export class SignalSocket {
  #url;
  #events;
  #world;
  #backoff = new Backoff();
  #socket = null;
  #retry = null;
  #wanted = false;
  #down = false;

  constructor(url, events, world = globalThis) {
    this.#url = url;
    this.#events = events;
    this.#world = world;
  }

  get isOpen() {
    return this.#socket?.readyState === 1;
  }

  open() {
    this.#wanted = true;
    this.#down = false;
    if (!this.#socket && this.#retry === null) this.#connect();
  }

  /** Stops for good; no event follows. */
  close() {
    this.#wanted = false;
    this.#drop();
    this.#cancelRetry();
    this.#backoff.reset();
  }

  /** A fresh connection: the server forgets everything about the old one. */
  restart() {
    this.#drop();
    this.#cancelRetry();
    this.open();
  }

  /**
   * A new connection in the place of one that seems dead. Nothing is said on the old one: heard after
   * all, a goodbye would end the visit.
   */
  renew() {
    const socket = this.#socket;
    if (socket) socket.onopen = socket.onmessage = socket.onclose = null;
    this.#socket = null;
    this.restart();
  }

  /** Tries at once instead of waiting, for instance because the network came back. */
  hurry() {
    if (this.#retry === null) return;
    this.#cancelRetry();
    this.#connect();
  }

  /** Lost without notice when the connection is not open. */
  send(message) {
    if (this.isOpen) this.#socket.send(JSON.stringify(message));
  }

  /** To be called when the server has accepted us, not merely the socket. */
  settled() {
    this.#backoff.reset();
  }

  #connect() {
    const socket = new this.#world.WebSocket(this.#url);
    this.#socket = socket;
    socket.onopen = () => {
      this.#down = false;
      this.#events.opened();
    };
    socket.onmessage = ({ data }) => {
      const message = parseMessage(data);
      if (message) this.#events.received(message);
    };
    socket.onclose = ({ code }) => {
      this.#socket = null;
      if (code === kReplaced) {
        this.#wanted = false;
        return this.#events.replaced();
      }
      if (!this.#wanted) return;
      this.#retry = this.#world.setTimeout(() => {
        this.#retry = null;
        this.#connect();
      }, this.#backoff.next() * 1000);
      if (this.#down) return;
      this.#down = true;
      this.#events.dropped();
    };
  }

  #drop() {
    const socket = this.#socket;
    this.#socket = null;
    if (!socket) return;
    socket.onopen = socket.onmessage = socket.onclose = null;
    socket.close(1000);
  }

  #cancelRetry() {
    if (this.#retry !== null) this.#world.clearTimeout(this.#retry);
    this.#retry = null;
  }
}

/** A JSON object with a text "type", or null for anything else. */
export function parseMessage(data) {
  if (typeof data !== 'string') return null;
  try {
    const message = JSON.parse(data);
    return typeof message?.type === 'string' ? message : null;
  } catch {
    return null;
  }
}
