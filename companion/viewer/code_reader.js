import { parsePairLink } from './pair_link.js';

const kLookMs = 200; // between two looks: a code is held still for longer

/** Whether this browser can read codes with a camera. */
export async function canReadCodes(world = globalThis) {
  if (!world.BarcodeDetector || !world.navigator.mediaDevices) return false;
  try {
    return (await world.BarcodeDetector.getSupportedFormats()).includes('qr_code');
  } catch {
    return false;
  }
}

/** Looks through the camera for a pairing code, from start() until one is found or stop(). */
export class CodeReader {
  #video;
  #events;
  #world;
  #stream = null;
  #timer = null;
  #run = 0; // tells a look that was overtaken by stop()

  /** `events`: found(link), strange() for a code of something else, failed(error): no camera. */
  constructor(video, events, world = globalThis) {
    this.#video = video;
    this.#events = events;
    this.#world = world;
  }

  async start() {
    this.stop();
    const run = this.#run;
    try {
      const stream = await this.#world.navigator.mediaDevices.getUserMedia({
        video: { facingMode: 'environment' },
      });
      // Stopped while the person was still asked for leave.
      if (run !== this.#run) return stopTracks(stream);
      this.#stream = stream;
      this.#video.srcObject = stream;
      await this.#video.play();
    } catch (error) {
      if (run !== this.#run) return;
      this.stop();
      return this.#events.failed(error);
    }
    if (run === this.#run) {
      await this.#look(run, new this.#world.BarcodeDetector({ formats: ['qr_code'] }));
    }
  }

  /** The camera's light goes out. */
  stop() {
    this.#run += 1;
    if (this.#timer !== null) this.#world.clearTimeout(this.#timer);
    this.#timer = null;
    if (!this.#stream) return;
    stopTracks(this.#stream);
    this.#stream = null;
    this.#video.srcObject = null;
  }

  async #look(run, detector) {
    // A frame that cannot be read yet is as good as one without a code.
    const codes = await detector.detect(this.#video).catch(() => []);
    if (run !== this.#run) return;
    const link = codes.map(({ rawValue }) => parsePairLink(rawValue)).find(Boolean);
    if (link) {
      this.stop();
      return this.#events.found(link);
    }
    if (codes.length > 0) this.#events.strange();
    this.#timer = this.#world.setTimeout(() => this.#look(run, detector), kLookMs);
  }
}

function stopTracks(stream) {
  for (const track of stream.getTracks()) track.stop();
}
