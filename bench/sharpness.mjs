// How soon text can be read after it has come to rest: the picture in the viewer beside the desktop's
// own, so long after a terminal has stopped scrolling, with the bitrate held low and as shipped.

import { setTimeout as pause } from 'node:timers/promises';
import { fileURLToPath } from 'node:url';
import { play } from './scenes.mjs';
import { screenPicture } from './screen_picture.mjs';
import { similarity } from './similarity.mjs';
import { median } from './statistics.mjs';
import { withVisitedHost } from './visited_host.mjs';

const kAfterMs = [250, 500, 1000, 2000];
const kStops = 5;
const kScrollingMs = [3000, 4000];
const kIndicatorRows = 48; // at the top; a dump of the screen does not know its rounded shape
const kSettlingMs = 12000; // the bitrate is found out in the first seconds
const kLowKbps = 5000;
const kLimit = 0.98; // at that bitrate, after a second
const kLimitAfterMs = 1000;

/** From its next load on the page asks for no more than this. */
export async function capBitrate(phone, kbps) {
  await phone.page.context().route('**/sdp.js', async (route) => {
    const answer = await route.fetch();
    const text = await answer.text();
    const capped = text.replace(/(const k(?:Max|Start)Kbps =) \d+;/g, `$1 ${kbps};`);
    if (capped.split(`= ${kbps};`).length !== 3) throw new Error('the page has other ceilings now');
    await route.fulfill({ response: answer, body: capped });
  });
}

/** The luma of the picture shown so many milliseconds from now each. */
async function shownPictures(page, delays) {
  const pictures = await page.evaluate(async (wanted) => {
    const video = document.getElementById('picture');
    const began = performance.now();
    const frames = [];
    for (const delay of wanted) {
      await new Promise((resolve) => setTimeout(resolve, began + delay - performance.now()));
      frames.push(new VideoFrame(video));
    }
    const pictures = [];
    for (const frame of frames) {
      if (!['I420', 'NV12'].includes(frame.format)) throw new Error(`the luma of ${frame.format}?`);
      const { codedWidth: width, codedHeight: height } = frame;
      const bytes = new Uint8Array(frame.allocationSize());
      const [{ offset, stride }] = await frame.copyTo(bytes);
      frame.close();
      const luma = new Uint8Array(width * height);
      for (let row = 0; row < height; ++row) {
        const from = offset + row * stride;
        luma.set(bytes.subarray(from, from + width), row * width);
      }
      const url = await new Promise((resolve) => {
        const reader = new FileReader();
        reader.onload = () => resolve(reader.result);
        reader.readAsDataURL(new Blob([luma]));
      });
      pictures.push({ width, height, luma: url.slice(url.indexOf(',') + 1) });
    }
    return pictures;
  }, delays);
  return pictures.map(({ luma, ...size }) => ({ ...size, luma: Buffer.from(luma, 'base64') }));
}

/** {all, text, kbps}: by time the medians over the stops, and the bitrate of the scrolling. */
export async function sharpness({ desktop, phone }, stops = kStops, settlingMs = kSettlingMs) {
  // Its tip alone is in the picture there, and none of it on the desktop that is compared with.
  await phone.mouse.move(desktop.size.width - 1, desktop.size.height - 1);
  const terminal = play(desktop, 'scrolling');
  await pause(settlingMs);
  const rates = [];
  const seen = Object.fromEntries(kAfterMs.map((ms) => [ms, []]));
  for (let stop = 0; stop < stops; ++stop) {
    const bytes = (await phone.stats()).bytesReceived;
    const began = performance.now();
    // At any moment of the encoder's rate control.
    await pause(kScrollingMs[0] + Math.random() * (kScrollingMs[1] - kScrollingMs[0]));
    rates.push(8 * ((await phone.stats()).bytesReceived - bytes) / (performance.now() - began));
    process.kill(terminal.pid, 'SIGSTOP');
    const pictures = await shownPictures(phone.page, kAfterMs);
    const screen = await screenPicture(desktop);
    process.kill(terminal.pid, 'SIGCONT');
    for (const [index, { width, height, luma }] of pictures.entries()) {
      if (width !== screen.width || height !== screen.height) throw new Error(`${width}x${height}?`);
      seen[kAfterMs[index]].push(similarity(screen.luma, luma, width, height, kIndicatorRows));
    }
  }
  await terminal.stop();
  const part = (name) => (ms) => median(seen[ms].map((value) => value[name]));
  const table = (name) => Object.fromEntries(kAfterMs.map((ms) => [ms, part(name)(ms)]));
  return { all: table('all'), text: table('text'), kbps: median(rates) };
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  console.log(`SSIM of the luma, 1920x1080, medians of ${kStops} stops\n`);
  console.log(`| Ceiling | scrolled at kbit/s | ${kAfterMs.map((ms) => `${ms} ms`).join(' | ')} |` +
    ` limit after ${kLimitAfterMs} ms |`);
  console.log(`|---|---|${kAfterMs.map(() => '---|').join('')}---|`);
  const ceilings = [[`${kLowKbps / 1000} Mbit/s`, kLowKbps, kLimit], ['as shipped', 0, '']];
  for (const [name, kbps, limit] of ceilings) {
    const prepare = kbps ? (phone) => capBitrate(phone, kbps) : undefined;
    const { all, text, kbps: rate } = await withVisitedHost({ prepare }, (scene) => sharpness(scene));
    const cells = (values) => kAfterMs.map((ms) => values[ms].toFixed(4)).join(' | ');
    console.log(`| ${name}, whole picture | ${rate.toFixed(0)} | ${cells(all)} | ${limit} |`);
    console.log(`| ${name}, where there is text | | ${cells(text)} | |`);
  }
}
