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
        rtp: metadata.rtpTimestamp,
        received: metadata.receiveTime,
        decoded: metadata.receiveTime + metadata.processingDuration * 1000,
        presented: metadata.presentationTime,
        seen: performance.now(),
        timing: (await globalThis.tovalin?.stats())?.googTimingFrameInfo,
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
 * The stages of a click's answer, in their order: to the program's press, to the host's notice of the
 * change, to the grab, to the conversion, to its end, to the encoder, to its end, to the last packet in
 * the browser, to the decoded picture, to the compositor, which is the end; and beyond it, display,
 * until the page's next animation frame, when a screen of 60 Hz gets it. What cannot look inside has
 * answer, from the press to the last packet or to the changed pixels, in place of those between.
 */
export const kStages = [
  'press', 'notice', 'pace', 'grab', 'convert', 'queue', 'encode', 'send', 'answer', 'decode', 'show',
  'display',
];
const kOfHost = ['noticed', 'taken', 'begun', 'converted', 'encoding', 'encoded'];

/**
 * How long the pictures between the clicks waited for their turn to be sent, by the times that the
 * sender writes into the video-timing extension of some packets: whole milliseconds. Of each second the
 * browser tells of the picture that took longest.
 */
function pacedPictures(answers) {
  const waits = new Map();
  for (const { timing } of answers) {
    // The picture's time stamp; captured, encoding, encoded, in packets, out of the pacer; and more.
    const [stamp, , , , packets, out] = timing?.split(',').map(Number) ?? [];
    if (Number.isFinite(out - packets)) waits.set(stamp, out - packets);
  }
  return [...waits.values()];
}

/**
 * Clicks so often into the middle of the picture, where a click_target changes its colour. Each
 * result in milliseconds: total and its stages, those of the host where there is a PictureTrace. The
 * list has what pacedPictures says as `paced`.
 */
export async function photonsOfPage(page, target, count, trace) {
  await page.evaluate(prepare, kBeside);
  const offset = await clockOffset(page);
  const { width, height } = page.viewportSize();
  const [x, y] = [width / 2, height / 2];
  await page.mouse.move(x, y);
  const answers = [];
  for (let i = 0; i < count; ++i) {
    await pause(kPauseMs[0] + Math.random() * (kPauseMs[1] - kPauseMs[0]));
    const since = target.out.mark();
    const change = page.evaluate(() => globalThis.photonBench.nextChange());
    // The page must have read the picture before it changes.
    await page.evaluate(() => new Promise((resolve) => setTimeout(resolve, 20)));
    await page.mouse.down();
    await page.mouse.up();
    const answer = await change;
    const [ns] = await target.out.next(/^\d+$/, { since });
    answers.push({ ...answer, press: Number(ns) / 1e6 - offset });
  }
  const pictures = await trace?.pictures(answers.map(({ rtp }) => rtp));
  const results = answers.map((answer, i) => stagesOf(answer, pictures?.[i], offset));
  return Object.assign(results, { paced: pacedPictures(answers) });
}

function stagesOf(answer, picture, offset) {
  const { pressed, press, received, decoded, presented, seen } = answer;
  const inside = picture ? kOfHost.map((name) => picture[name] - offset) : [];
  const moments = [pressed, press, ...inside, received, decoded, presented, seen];
  const without = picture ? ['answer'] : kStages.slice(1, 8);
  const stages = kStages.filter((name) => !without.includes(name));
  return {
    total: presented - pressed,
    ...Object.fromEntries(stages.map((name, i) => [name, moments[i + 1] - moments[i]])),
  };
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
    results.push({ total: seen - pressed, press: press - pressed, answer: seen - press });
  }
  return results;
}
