import { nameOf, proofOf } from './computer_store.js';
import { NamedTimers } from './named_timers.js';
import { isWaiting } from './notices.js';
import { Presence } from './presence.js';
import { ProofOfLife } from './proof_of_life.js';
import { SignalSocket } from './signal_socket.js';
import { Visit } from './visit.js';

const kOfferMs = 20000; // from "joined" to a picture; then the host is taken not to answer
const kUnsteadyMs = 8000; // a broken connection may recover by itself that long
const kByeMs = 1000; // a "bye" and the end of the connection race each other on different ways
const kOfflineRetryMs = 5000;
const kServerMs = 3000; // for an answer of a server that is in touch
const kLongAwayMs = 10000; // connections may have died in their sleep, without a word
const kTriesAfterLive = 3; // to reach a computer that was reached before; at first there is one

/**
 * From opening the page to the picture: pairing, the list of computers, joining, and one visit after
 * another. It decides what happens next and draws nothing. `phase` is one of
 *   home     the list of `computers`; `stateOf` tells who is there, `serverAway` why nobody knows
 *   pairing  the person has to enter a PIN; `trouble` says what went wrong, if anything, and
 *            `retryAfter` in how many seconds the next try is looked at
 *   notice   `notice` says what is going on (see notices.js)
 *   live     the picture is there; `unsteady` while it is interrupted
 * `view`: changed(session), picture(stream), locked(bool), and interrupted(): the picture that is
 * there now is about to stop. `world` brings sockets, peers and timers.
 */
export class Session {
  phase = 'notice';
  notice = 'connecting';
  trouble = '';
  retryAfter = 0;
  serverAway = false;
  unsteady = false;
  pairing = false; // a pairing request is under way

  #store;
  #view;
  #world;
  #socket;
  #presence = new Presence();
  #hostId = ''; // of the computer that is visited, or was last
  #visit = null;
  #iceServers = [];
  #request = null; // the pairing request to send as soon as the socket is open
  #timers;
  #proof;
  #triesLeft = 1; // before it is said that there is no way
  #endIsGuessed = false; // "ended", and the server was not there to say so
  #attached = false; // the server has us down as this host's viewer

  constructor(url, store, view, world = globalThis) {
    this.#store = store;
    this.#view = view;
    this.#world = world;
    this.#timers = new NamedTimers(world);
    this.#proof = new ProofOfLife(world);
    const make = world.makeSocket ?? ((events) => new SignalSocket(url, events));
    this.#socket = make({
      opened: () => this.#opened(),
      received: (message) => this.#received(message),
      dropped: () => this.#dropped(),
      replaced: () => this.#stop('taken-over'),
    });
  }

  get hostName() {
    return nameOf(this.#store.find(this.#hostId));
  }

  get computers() {
    return this.#store.all;
  }

  /** "online", "offline", "busy", "unknown-device", or empty while nothing is known. */
  stateOf(hostId) {
    return this.#presence.of(hostId);
  }

  /** A picture is there, or expected without anybody's help. */
  get isComing() {
    return this.phase === 'live' || (this.phase === 'notice' && isWaiting(this.notice));
  }

  get channel() {
    return this.#visit?.channel ?? null;
  }

  /** Somebody with one computer wants to see it, not a list. */
  start() {
    const [first, ...others] = this.#store.all;
    if (first && others.length === 0) this.open(first.hostId);
    else this.home();
  }

  /** Shows the list, or the pairing screen where it would be empty; whatever was going on ends. */
  home() {
    if (this.#store.all.length === 0) return this.askForPin();
    this.#endVisit();
    this.#request = null;
    this.pairing = false;
    this.#presence.clear();
    this.#show('home');
    this.#socket.restart();
  }

  open(hostId) {
    this.#hostId = hostId;
    this.join();
  }

  rename(hostId, alias) {
    this.#store.rename(hostId, alias);
    this.#view.changed(this);
  }

  /** The computer is told too, now or when the server is next in sight. */
  forget(hostId) {
    this.#store.forget(hostId);
    this.#sendFarewells();
    if (this.#store.all.length === 0) this.askForPin();
    else this.#view.changed(this);
  }

  /** Shows the pairing screen; whatever was going on ends. */
  askForPin(trouble = '', retryAfter = 0) {
    this.#endVisit();
    this.#socket.close();
    this.#request = null;
    this.pairing = false;
    this.trouble = trouble;
    this.retryAfter = retryAfter;
    this.#show('pairing');
  }

  /** `proof` is {pin} or {host, token}. */
  pair(proof, deviceName) {
    this.#endVisit();
    this.trouble = '';
    this.retryAfter = 0;
    this.pairing = true;
    this.#store.callDevice(deviceName);
    this.#request = { type: 'pair', ...proof, deviceName };
    this.#show('pairing');
    this.#socket.restart();
  }

  join() {
    this.#triesLeft = 1;
    this.#begin('connecting');
  }

  leave() {
    this.#stop('left');
  }

  /** Everything the browser tells of the visit so far; empty without one. */
  async report() {
    return this.#visit ? this.#visit.report() : [];
  }

  /**
   * The page is in sight again after so many milliseconds, or (0) the network is back. Nobody should
   * have to touch anything: what died meanwhile is begun anew, what still waits waits no longer.
   */
  back(awayMs) {
    if (this.phase === 'live') {
      this.#verifyPicture();
      return this.#verifyServer();
    }
    if (this.phase === 'notice' && !isWaiting(this.notice)) {
      const isGuess = this.notice === 'ended' && this.#endIsGuessed && awayMs >= kLongAwayMs;
      if (isGuess || ['blocked', 'no-answer'].includes(this.notice)) this.join();
      return;
    }
    const isOverdue = awayMs >= kLongAwayMs || this.#timers.isRunning('retry');
    if (this.phase === 'notice' && isOverdue) this.#begin(this.notice);
    else if (this.phase === 'home' && isOverdue) this.#socket.restart();
    else this.#socket.hurry();
  }

  #begin(notice) {
    this.#endVisit();
    this.#request = null;
    this.#show('notice', notice);
    this.#socket.restart();
  }

  #verifyPicture() {
    this.#proof.demand(this.#visit, () => this.#lost());
  }

  #verifyServer() {
    this.#socket.hurry();
    // The server answers with "joined" and does nothing else, unless it has lost sight of us.
    if (!this.#attached) return;
    this.#sendJoin(true);
    this.#timers.start('server', kServerMs, () => this.#socket.renew());
  }

  #opened() {
    this.serverAway = false;
    this.#sendFarewells();
    if (this.#request) return this.#socket.send(this.#request);
    if (this.phase === 'home') {
      this.#socket.send(this.#presence.request(this.#store.all));
      return this.#view.changed(this);
    }
    // The server has lost sight of a visit that is still going on: it must not start a new one.
    this.#sendJoin(this.phase === 'live');
  }

  #sendJoin(resume) {
    const computer = this.#store.find(this.#hostId);
    if (!computer) return this.home(); // forgotten in another window
    this.#socket.send({ type: 'join', ...proofOf(computer), ...(resume && { resume }) });
  }

  #sendFarewells() {
    for (const computer of this.#store.farewells) {
      this.#socket.send({ type: 'forget', ...proofOf(computer) });
    }
  }

  #dropped() {
    this.#attached = false;
    this.serverAway = true;
    this.#presence.clear();
    this.#timers.cancel('retry', 'server');
    if (this.#request) return this.askForPin('no-server');
    // A visit lives on its own connection, with or without the server.
    if (this.phase === 'live') return;
    if (this.phase === 'home') return this.#view.changed(this);
    this.#endVisit();
    const isOffline = this.#world.navigator?.onLine === false;
    this.#show('notice', isOffline ? 'device-offline' : 'no-server');
  }

  #received(message) {
    this.#timers.cancel('server');
    switch (message.type) {
      case 'paired':
        return this.#paired(message);
      case 'pair-failed':
        return this.#pairFailed(message);
      case 'presence':
        return this.#present(message);
      case 'forgotten':
        return this.#store.farewellTold(message.hostId);
      case 'joined':
        return this.#joined(message);
      case 'join-failed':
        return this.#joinFailed(message.reason);
      case 'offer':
        return this.#offered(message);
      case 'ice':
        return this.#visit?.addCandidate(message);
      case 'lock':
        return this.#view.locked(message.v === true);
      case 'bye':
        return this.#stop('ended');
      case 'host-gone':
        return this.#hostGone();
      case 'host-back':
        return this.#hostBack();
    }
  }

  #paired(device) {
    this.#store.remember(device);
    this.#hostId = device.hostId;
    this.#request = null;
    this.pairing = false;
    this.#socket.settled();
    this.#show('notice', 'connecting');
    this.#sendJoin(false);
  }

  #pairFailed({ reason, retryAfter }) {
    // A link cannot be mistyped, only be old.
    const trouble = reason === 'wrong-pin' && this.#request?.token ? 'bad-link' : reason;
    this.askForPin(trouble, Number.isFinite(retryAfter) ? retryAfter : 0);
  }

  #present(message) {
    this.#socket.settled();
    this.#presence.heard(message);
    if (this.phase === 'home') this.#view.changed(this);
  }

  #joined({ iceServers }) {
    this.#socket.settled();
    this.#attached = true;
    this.#iceServers = Array.isArray(iceServers) ? iceServers : [];
    if (this.phase === 'live') return;
    this.#show('notice', 'waiting');
    this.#timers.start('offer', kOfferMs, () =>
      this.#unreachable(this.#visit ? 'blocked' : 'no-answer'));
  }

  #joinFailed(reason) {
    this.#socket.settled();
    if (reason === 'host-offline') {
      // After a restart of the server the host may simply be slower than we are.
      this.#timers.start('retry', kOfflineRetryMs, () => this.#sendJoin(this.phase === 'live'));
      if (this.phase !== 'live') this.#show('notice', 'host-offline');
      return;
    }
    // A live visit needs no server; whatever is wrong shows when it is over.
    if (this.phase === 'live') return;
    if (reason !== 'unknown-device') return this.#stop('busy');
    this.#store.forget(this.#hostId, { silently: true });
    this.askForPin('unknown-device');
  }

  #hostGone() {
    // It may have lost the server alone.
    if (this.phase === 'live') return this.#verifyPicture();
    this.#endVisit();
    this.#show('notice', 'host-gone');
  }

  #hostBack() {
    if (this.phase !== 'live') this.#begin('connecting');
    else if (this.unsteady) this.#lost();
  }

  async #offered({ sdp }) {
    this.#closeVisit();
    const make = this.#world.makeVisit ?? ((...parts) => new Visit(...parts));
    const current = () => this.#visit === visit;
    const visit = make(this.#iceServers, (message) => this.#socket.send(message), {
      picture: (stream) => current() && this.#view.picture(stream),
      connected: () => current() && this.#connected(),
      unsteady: () => current() && this.#becameUnsteady(),
      failed: () => current() && (this.phase === 'live' ? this.#lost() : this.#unreachable('blocked')),
      hungUp: () => current() && this.#hungUp(),
    });
    this.#visit = visit;
    try {
      await visit.accept(sdp);
    } catch (error) {
      console.warn('offer refused:', error.message);
      if (current()) this.#stop('no-answer');
    }
  }

  #connected() {
    this.#timers.cancel('offer', 'unsteady');
    this.#triesLeft = kTriesAfterLive;
    this.unsteady = false;
    this.#store.used(this.#hostId);
    this.#show('live');
  }

  #becameUnsteady() {
    this.unsteady = true;
    this.#timers.start('unsteady', kUnsteadyMs, () => this.#lost());
    this.#view.changed(this);
  }

  #lost() {
    this.#begin('reconnecting');
  }

  // Both are in touch with the server, as far as it knows, and yet there is no picture.
  #unreachable(notice) {
    this.#triesLeft -= 1;
    if (this.#triesLeft > 0) this.#lost();
    else this.#stop(notice);
  }

  // Without the server we cannot hear whether the person at the computer ended the visit; they may
  // have, so nobody comes back unasked.
  #hungUp() {
    if (!this.#attached) {
      this.#stop('ended');
      this.#endIsGuessed = true;
      return;
    }
    this.#timers.start('bye', kByeMs, () => this.#lost());
  }

  #stop(notice) {
    this.#endVisit();
    this.#socket.close();
    this.#show('notice', notice);
  }

  #endVisit() {
    this.#closeVisit();
    this.#attached = false;
    this.#timers.cancelAll();
    this.#view.locked(false);
  }

  #closeVisit() {
    if (this.phase === 'live' && this.#visit) this.#view.interrupted();
    this.#visit?.close();
    this.#visit = null;
    this.unsteady = false;
    this.#proof.cancel();
    this.#timers.cancel('unsteady', 'bye');
  }

  #show(phase, notice = '') {
    this.#endIsGuessed = false;
    this.phase = phase;
    this.notice = notice;
    this.#view.changed(this);
  }
}
