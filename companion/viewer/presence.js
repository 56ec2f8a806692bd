import { proofOf } from './computer_store.js';

const kMostWatched = 32; // what the server takes in one request
const kStates = new Set(['online', 'offline', 'busy', 'unknown-device']);

/** What the server says of the computers of the list: who is there, and who is taken. */
export class Presence {
  #states = new Map();

  /** "online", "offline", "busy", "unknown-device", or empty while nothing is known. */
  of(hostId) {
    return this.#states.get(hostId) ?? '';
  }

  /** The request for all of these, the first ones where the server would not take so many. */
  request(computers) {
    return { type: 'watch', devices: computers.slice(0, kMostWatched).map(proofOf) };
  }

  heard({ hosts }) {
    if (!Array.isArray(hosts)) return;
    for (const { hostId, state } of hosts) {
      if (kStates.has(state)) this.#states.set(hostId, state);
    }
  }

  /** Nothing is known any more: the server is out of sight. */
  clear() {
    this.#states.clear();
  }
}
