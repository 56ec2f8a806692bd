// How old the picture in the viewer's page is when the page can read it: a frame_counter on the
// desktop says when it drew the number that the page reads.

import { clockOffset } from './photon_page.mjs';

// As in frame_counter.cpp.
const kStrip = { top: 128, square: 16, digits: 16 };

/* Runs in the page: notes the number in each presented picture for so long. */
async function readNumbers({ strip, milliseconds }) {
  const video = document.getElementById('picture');
  const end = performance.now() + milliseconds;
  const rect = { x: 0, y: strip.top + strip.square / 2, width: strip.digits * strip.square, height: 2 };
  const seen = [];
  while (performance.now() < end) {
    const metadata = await new Promise((resolve) => {
      video.requestVideoFrameCallback((_, data) => resolve(data));
    });
    const frame = new VideoFrame(video);
    const bytes = new Uint8Array(frame.allocationSize({ rect }));
    await frame.copyTo(bytes, { rect });
    frame.close();
    let number = 0;
    for (let digit = 0; digit < strip.digits; ++digit) {
      if (bytes[digit * strip.square + strip.square / 2] > 128) number |= 1 << digit;
    }
    seen.push({
      number, at: performance.now(), received: metadata.receiveTime,
      decoding: (metadata.processingDuration ?? 0) * 1000, presented: metadata.presentedFrames,
    });
  }
  return seen;
}

/**
 * Watches for so long a desktop with this counter: {ages, arrivals, decodings, presented}, the first
 * three in milliseconds, one of each a number: from drawing it to reading it, to the arrival of its
 * last packet, and in the decoder.
 */
export async function pictureAges(page, counter, milliseconds) {
  const offset = await clockOffset(page);
  const seen = await page.evaluate(readNumbers, { strip: kStrip, milliseconds });
  const drawn = new Map(counter.out.lines.slice(1).map((line) => {
    const [number, ns] = line.split(' ').map(Number);
    return [number & (2 ** kStrip.digits - 1), ns / 1e6 - offset];
  }));
  const first = new Map();
  for (const picture of seen) {
    if (!first.has(picture.number)) first.set(picture.number, picture);
  }
  const known = [...first.values()].filter(({ number }) => drawn.has(number));
  // A digit misread is a number that was never drawn, or is not due for long.
  const unknown = first.size - known.length;
  const aged = known.map((picture) => ({ ...picture, then: drawn.get(picture.number) }));
  if (unknown > 0 || aged.some(({ at, then }) => at < then)) {
    throw new Error('the numbers in the picture cannot be read');
  }
  return {
    ages: aged.map(({ at, then }) => at - then),
    arrivals: aged.map(({ received, then }) => received - then),
    decodings: aged.map(({ decoding }) => decoding),
    presented: seen.at(-1).presented - seen[0].presented,
  };
}
