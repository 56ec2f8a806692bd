// Follows pictures through the host by what it writes down for TOVALIN_FRAME_TRACE.

import fs from 'node:fs/promises';
import { framesAhead } from './frame_trace.mjs';

const kMs = 1e6; // nanoseconds in one

/** Where the host is told to write, and what it has written so far. */
export class PictureTrace {
  #file;

  constructor(file) {
    this.#file = file;
  }

  get environment() {
    return { TOVALIN_FRAME_TRACE: this.#file };
  }

  /**
   * The pictures that a viewer got under these RTP time stamps, in their order; undefined for one that
   * is not known. Times in milliseconds of CLOCK_MONOTONIC: noticed (the first change was reported),
   * taken (the pixels were asked for), begun (in the hands of the conversion), converted, encoding,
   * encoded; and bytes and quantiser. A repeat has the first two of the picture that it repeats.
   */
  async pictures(stamps) {
    const sources = new Map();
    const pictures = new Map();
    for (const line of await this.#lines()) {
      const [stage, key, ...rest] = line.split(' ');
      const values = rest.map(Number);
      if (stage === 'source') {
        const [noticed, taken, begun, converted] = values.map((ns) => ns / kMs);
        sources.set(key, { noticed, taken, begun, converted });
      } else if (stage === 'encoder') {
        const [rtp, encoding, encoded, bytes, quantiser] = values;
        pictures.set(rtp, {
          ...sources.get(key), encoding: encoding / kMs, encoded: encoded / kMs, bytes, quantiser,
        });
      }
    }
    const shift = shiftOf(stamps, pictures);
    return stamps.map((stamp) => pictures.get((stamp - shift) >>> 0));
  }

  /** As framesAhead(). */
  framesAhead() {
    return framesAhead(this.#file);
  }

  async #lines() {
    return (await fs.readFile(this.#file, 'utf8')).split('\n').slice(0, -1);
  }
}

/**
 * The library adds a random number to a visit's time stamps once they have left the encoder: the one
 * that finds a picture for the most stamps, for no two intervals of a screen's pictures are alike.
 */
function shiftOf(stamps, pictures) {
  let best = { shift: 0, found: 0 };
  for (const known of pictures.keys()) {
    const shift = (stamps[0] - known) >>> 0;
    const found = stamps.filter((stamp) => pictures.has((stamp - shift) >>> 0)).length;
    if (found > best.found) best = { shift, found };
  }
  return best.shift;
}
