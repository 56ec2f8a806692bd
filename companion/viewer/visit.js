import { letHostBeginHandshake, raiseBitrateCeiling } from './sdp.js';

/**
 * One peer connection to the host, which always makes the offer; a new offer needs a new Visit.
 * `send` carries signalling messages to the host. `events`: picture(stream), connected(),
 * unsteady(), failed(), hungUp() (the host closed its side).
 */
export class Visit {
  #peer;
  #channel = null;
  #send;
  #events;
  #early = [];
  #closed = false;

  constructor(iceServers, send, events) {
    this.#send = send;
    this.#events = events;
    this.#peer = new RTCPeerConnection({ iceServers });
    this.#peer.ontrack = ({ track, streams }) =>
      events.picture(streams[0] ?? new MediaStream([track]));
    this.#peer.onicecandidate = ({ candidate }) => {
      // An empty line ends the gathering; the host does not want to hear of it.
      if (!candidate?.candidate) return;
      const { sdpMLineIndex, sdpMid } = candidate;
      send({
        type: 'ice',
        candidate: candidate.candidate,
        sdpMLineIndex: sdpMLineIndex ?? 0,
        sdpMid: sdpMid ?? '',
      });
    };
    this.#peer.onconnectionstatechange = () => this.#stateChanged();
    this.#peer.ondatachannel = ({ channel }) => {
      if (channel.label !== 'input') return;
      this.#channel = channel;
      channel.onclose = () => {
        if (!this.#closed) this.#events.hungUp();
      };
    };
  }

  /** Where input goes; null until the host's channel has arrived. */
  get channel() {
    return this.#channel;
  }

  async accept(sdp) {
    await this.#peer.setRemoteDescription({ type: 'offer', sdp });
    const { sdp: answer } = await this.#peer.createAnswer();
    const local = await this.#describe(letHostBeginHandshake(answer), answer);
    if (this.#closed) return;
    this.#send({ type: 'answer', sdp: raiseBitrateCeiling(local) });
    for (const candidate of this.#early.splice(0)) await this.#add(candidate);
  }

  // A browser may insist on the description that it has made.
  async #describe(wanted, made) {
    try {
      await this.#peer.setLocalDescription({ type: 'answer', sdp: wanted });
      return wanted;
    } catch {
      await this.#peer.setLocalDescription({ type: 'answer', sdp: made });
      return made;
    }
  }

  /** Candidates may overtake the offer's processing; they are kept until it is done. */
  async addCandidate({ candidate, sdpMLineIndex, sdpMid }) {
    const init = { candidate, sdpMLineIndex: sdpMLineIndex ?? 0, sdpMid: sdpMid || undefined };
    if (this.#peer.remoteDescription && this.#early.length === 0) await this.#add(init);
    else this.#early.push(init);
  }

  /** Everything the browser tells of this connection, for the figures. */
  async report() {
    return [...(await this.#peer.getStats()).values()];
  }

  /** Grows as long as anything comes in: pictures, their reports, answers to "are you there". */
  async received() {
    const pairs = (await this.report()).filter(({ type }) => type === 'candidate-pair');
    const count = ({ bytesReceived = 0, responsesReceived = 0, requestsReceived = 0 }) =>
      bytesReceived + responsesReceived + requestsReceived;
    return pairs.reduce((sum, pair) => sum + count(pair), 0);
  }

  close() {
    this.#closed = true;
    this.#peer.close();
  }

  async #add(candidate) {
    try {
      await this.#peer.addIceCandidate(candidate);
    } catch (error) {
      // One address less to try; the others may do.
      console.warn('candidate refused:', error.message);
    }
  }

  #stateChanged() {
    if (this.#closed) return;
    switch (this.#peer.connectionState) {
      case 'connected':
        return this.#events.connected();
      case 'disconnected':
        return this.#events.unsteady();
      case 'failed':
      case 'closed':
        return this.#events.failed();
    }
  }
}
