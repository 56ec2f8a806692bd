// How long a visit to the host takes to show its picture, from the server's word "joined", which the host
// gets as "peer-joined" at the same moment: the first frame that the browser gave to its compositor and
// that shows anything, the first in which text can be read, and the first that is sharp.

import { setTimeout as pause } from 'node:timers/promises';
import { kStatus } from '../tests/e2e/support/host.mjs';
import { screenPicture } from './screen_picture.mjs';
import { similarity } from './similarity.mjs';

// As SSIM where there is text, and of the whole picture.
const kReadable = 0.9;
const kSharp = 0.98;
const kLookMs = 1000; // seldom, for whoever looks takes time from what is measured

/* Runs in the page. Reads a strip of each picture: all of it would cost 16 ms. */
function note() {
  const times = (globalThis.benchTimes = { pictures: [] });
  globalThis.WebSocket = class extends globalThis.WebSocket {
    constructor(...words) {
      super(...words);
      this.addEventListener('message', ({ data }) => {
        if (JSON.parse(data).type === 'joined') times.joined ??= performance.now();
      });
    }
  };
  const kWidth = 32;
  const stripOf = async (frame) => {
    const rect = { x: (frame.codedWidth >> 4) * 2, y: 0, width: kWidth, height: frame.codedHeight & ~1 };
    const bytes = new Uint8Array(frame.allocationSize({ rect }));
    const [{ offset, stride }] = await frame.copyTo(bytes, { rect });
    const luma = new Uint8Array(kWidth * rect.height);
    for (let y = 0; y < rect.height; ++y) {
      luma.set(bytes.subarray(offset + y * stride, offset + y * stride + kWidth), y * kWidth);
    }
    return { left: rect.x, width: kWidth, height: rect.height, luma };
  };
  document.addEventListener('DOMContentLoaded', () => {
    const video = document.getElementById('picture');
    const shown = async (_, { presentationTime: at }) => {
      video.requestVideoFrameCallback(shown);
      const frame = new VideoFrame(video);
      const strip = await stripOf(frame);
      frame.close();
      if (strip.luma.some((value) => value !== strip.luma[0])) times.pictures.push({ at, ...strip });
    };
    video.requestVideoFrameCallback(shown);
  });
}

/** To be called once before the first visit that is measured. */
export function prepareFirstPictures(phone) {
  return phone.page.addInitScript(note);
}

/** Visits anew; milliseconds until there is anything to be seen. */
export async function firstPicture(phone, host) {
  const since = host.mark();
  await phone.page.reload();
  await phone.live();
  await host.status(kStatus.connected, { since });
  const first = await phone.page.waitForFunction(() => {
    const { joined, pictures } = globalThis.benchTimes;
    return joined && pictures.length > 0 && pictures[0].at - joined;
  });
  return first.jsonValue();
}

/** Since "joined", what has been shown: when, and how much it is like the screen. */
async function shownOf(phone, screen) {
  const pictures = await phone.page.evaluate(() => {
    const { joined, pictures } = globalThis.benchTimes;
    const text = (bytes) => btoa(Array.from(bytes, (byte) => String.fromCharCode(byte)).join(''));
    return pictures.map(({ at, luma, ...size }) => ({ after: at - joined, luma: text(luma), ...size }));
  });
  return pictures.map(({ after, left, width, height, luma }) => {
    const there = new Uint8Array(width * height);
    for (let y = 0; y < height; ++y) {
      const begin = y * screen.width + left;
      there.set(screen.luma.subarray(begin, begin + width), y * width);
    }
    return { after, ...similarity(there, Buffer.from(luma, 'base64'), width, height) };
  });
}

/**
 * Of the same visit, also to a screen full of text that does not change: {readable, sharp} in
 * milliseconds, null for what was not seen within so many from now. Waits until it is `awaited`.
 */
export async function clearPictures(phone, desktop, awaited, withinMs) {
  const screen = await screenPicture(desktop);
  const began = performance.now();
  for (;;) {
    await pause(kLookMs);
    const shown = await shownOf(phone, screen);
    const first = (holds) => shown.find(holds)?.after ?? null;
    const clear = {
      readable: first(({ text }) => text >= kReadable), sharp: first(({ all }) => all >= kSharp),
    };
    if (clear[awaited] !== null || performance.now() - began > withinMs) return clear;
  }
}
