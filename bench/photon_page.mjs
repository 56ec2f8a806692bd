// Measures in the viewer's page how long the picture takes to answer a click, and where the time goes.

import { setTimeout as pause } from 'node:timers/promises';

const kPauseMs = [250, 550]; // between clicks: longer than the picture needs to come to rest
// From the middle of the patch up and left, where no pointer is drawn over it; even.
const kBeside = 16;

/* Runs in the page. */
function prepare(beside) {
  const video = document.getElementById('picture');
  const bench = (globalThis.photonBench = { pressedAt: 0 });
  addEventListener('pointerdown', () => (bench.pressedAt = performance.now()), true);

  // A whole picture costs 16 ms to read, a few pixels next to nothing.
  const brightness = async () => {
    const frame = new VideoFrame(video);
    const middle = (size) => (size >> 2) * 2 - beside;
    const rect = {
      x: middle(frame.displayWidth), y: middle(frame.displayHeight), width: 2, height: 2,
    };
    const bytes = new Uint8Array(frame.allocationSize({ rect }));
    await frame.copyTo(bytes, { rect });
    frame.close();
    return bytes[0];
  };
  bench.nextChange = async () => {
    const before = await brightness();
    for (;;) {
      const metadata = await new Promise((resolve) =>
        video.requestVideoFrameCallback((_, data) => resolve(data)));
      if (Math.abs((await brightness()) - before) < 60) continue;
      return {
        pressed: bench.pressedAt,
        received: metadata.receiveTime,
        decoding: metadata.processingDuration * 1000,
        seen: performance.now(),
      };
    }
  };
}

/** Milliseconds to add to the page's clock to get those of CLOCK_MONOTONIC. */
export async function clockOffset(page) {
  let best = { trip: Infinity, offset: 0 };
  for (let i = 0; i < 30; ++i) {
    const before = Number(process.hrtime.bigint()) / 1e6;
    const there = await page.evaluate(() => performance.now());
    const after = Number(process.hrtime.bigint()) / 1e6;
    const trip = after - before;
    if (trip < best.trip) best = { trip, offset: (before + after) / 2 - there };
  }
  return best.offset;
}

/**
 * Clicks so often into the middle of the picture, where a click_target changes its colour. Each
 * result in milliseconds: total, and its parts press (click to the program's press), host (press to
 * the last packet's arrival), decode, and show.
 */
export async function photonsOfPage(page, target, count) {
  await page.evaluate(prepare, kBeside);
  const offset = await clockOffset(page);
  const { width, height } = page.viewportSize();
  const [x, y] = [width / 2, height / 2];
  await page.mouse.move(x, y);
  const results = [];
  for (let i = 0; i < count; ++i) {
    await pause(kPauseMs[0] + Math.random() * (kPauseMs[1] - kPauseMs[0]));
    const since = target.out.mark();
    const change = page.evaluate(() => globalThis.photonBench.nextChange());
    // The page must have read the picture before it changes.
    await page.evaluate(() => new Promise((resolve) => setTimeout(resolve, 20)));
    await page.mouse.down();
    await page.mouse.up();
    const { pressed, received, decoding, seen } = await change;
    const [ns] = await target.out.next(/^\d+$/, { since });
    const press = Number(ns) / 1e6 - offset;
    results.push({
      total: seen - pressed,
      press: press - pressed,
      host: received - press,
      decode: decoding,
      show: seen - received - decoding,
    });
  }
  return results;
}

/** The same for an RFB client, whose parts are press and answer. */
export async function photonsOfRfb(client, target, count) {
  const [x, y] = [client.width >> 1, client.height >> 1];
  client.move(x, y);
  client.watch(x - kBeside, y - kBeside);
  const clock = Number(process.hrtime.bigint()) / 1e6 - performance.now();
  const results = [];
  for (let i = 0; i < count; ++i) {
    await pause(kPauseMs[0] + Math.random() * (kPauseMs[1] - kPauseMs[0]));
    const since = target.out.mark();
    const change = client.nextChange();
    const pressed = performance.now();
    client.press(x, y);
    const seen = await change;
    const [ns] = await target.out.next(/^\d+$/, { since });
    const press = Number(ns) / 1e6 - clock;
    results.push({ total: seen - pressed, press: press - pressed, host: seen - press });
  }
  return results;
}
