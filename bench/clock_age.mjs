// How old the picture is in the viewer's page, each time a new one is shown: it reads the clock that
// picture_clock draws on the desktop.

import { clockOffset } from './photon_page.mjs';

// As in picture_clock.cpp.
const kClock = { bits: 12, block: 16, aboveBottom: 40, tickMs: 10 };
const kRoundMs = 2 ** kClock.bits * kClock.tickMs;

/* Runs in the page. */
function follow({ bits, block, aboveBottom }) {
  const video = document.getElementById('picture');
  const bench = (globalThis.ageBench = { pictures: [] });
  const look = async ({ receiveTime, processingDuration = 0, rtpTimestamp }) => {
    const frame = new VideoFrame(video);
    const top = Math.floor((frame.displayHeight - aboveBottom) / block) * block;
    const rect = { x: 0, y: top, width: bits * block, height: block };
    const bytes = new Uint8Array(frame.allocationSize({ rect }));
    const [luma] = await frame.copyTo(bytes, { rect });
    frame.close();
    const values = Array.from({ length: bits }, (_, bit) =>
      bytes[luma.offset + (block / 2) * luma.stride + bit * block + block / 2]);
    bench.pictures.push({
      seen: performance.now(), received: receiveTime, decoding: processingDuration * 1000,
      stamp: rtpTimestamp, values,
    });
  };
  const next = (_, metadata) => {
    look(metadata);
    video.requestVideoFrameCallback(next);
  };
  video.requestVideoFrameCallback(next);
}

// By how much the time stamp of a frame that only moves what is there is ahead of the one with the
// rest of its picture (RTP's, settling_encoder.cpp).
const kMostAhead = 450;

const isWhite = (value) => value > 125;
const isClear = (value) => value < 90 || value > 160;

/** The tick that the blocks show, or null while there is no clock in the picture. */
function tickOf(values) {
  if (!values.every(isClear)) return null;
  // An empty screen, most likely, from before the clock was there.
  if (values.every((value) => isWhite(value) === isWhite(values[0]))) return null;
  let tick = 0;
  for (let bit = values.length - 1, below = 0; bit >= 0; --bit) {
    below ^= Number(isWhite(values[bit]));
    tick += below * 2 ** bit;
  }
  return tick;
}

/**
 * Notes every picture that the page shows. A frame that only moves what the viewer has already, ahead
 * of its picture, is none: its clock is the one before or a mixture. Of a page that is loaded anew,
 * ask again.
 */
export class PictureAges {
  #page;
  #offset;

  static async of(page) {
    const ages = new PictureAges();
    ages.#page = page;
    await page.evaluate(follow, kClock);
    ages.#offset = await clockOffset(page);
    return ages;
  }

  /**
   * The pictures that were shown since the last call, [{seen, age, ageReceived, decoding}], in
   * milliseconds: when, of CLOCK_MONOTONIC, how old it was then and when its last packet came, to
   * 5 ms, null if its clock cannot be read, and the time in the decoder.
   */
  async take() {
    const pictures = await this.#page.evaluate(() => globalThis.ageBench.pictures.splice(0));
    const isAhead = ({ stamp }, next) =>
      next !== undefined && next.stamp > stamp && next.stamp - stamp <= kMostAhead;
    const whole = pictures.filter((one, i) => !isAhead(one, pictures[i + 1]));
    const read = whole.map((one) => ({ ...one, tick: tickOf(one.values) }));
    const fresh = read.filter(({ tick }, i) => tick === null || tick !== read[i - 1]?.tick);
    return fresh.map(({ seen, received, decoding, tick }) => {
      const at = seen + this.#offset;
      if (tick === null) return { seen: at, age: null, ageReceived: null, decoding };
      const since = (at - (tick + 0.5) * kClock.tickMs) % kRoundMs;
      // The page may look within the very tick.
      const age = since > kRoundMs - kClock.tickMs ? since - kRoundMs : since;
      return { seen: at, age, ageReceived: age - (seen - received), decoding };
    });
  }
}
