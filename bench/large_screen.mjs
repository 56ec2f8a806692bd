// What a screen of 3840x2160 costs, and whether its pictures grow old when the machine cannot keep
// up: text at rest, text that scrolls so slowly that every picture can be sent before the next,
// scrolling text, and that beside two programs that take what they get.
// A small clock runs in each, which tells how old the picture is that the viewer sees.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { PictureAges } from './clock_age.mjs';
import { framesAhead, readTrace } from './frame_trace.mjs';
import { cpuSeconds, residentMb } from './process_figures.mjs';
import { play } from './scenes.mjs';
import { quantile } from './statistics.mjs';
import { withVisitedHost } from './visited_host.mjs';

const kSize = /--size=(\d+x\d+)/.exec(process.argv.join(' '))?.[1] ?? '3840x2160';
const kSettlingMs = 12000;
const kSceneMs = 15000;
const kMostGrowth = 2; // of the age's 95th percentile, from slow scrolling to each of what follows
const kScenes = [
  ['text at rest', 'static', 0], ['scrolling, 4 lines a second', 'slow scrolling', 0],
  ['scrolling, 30 lines a second', 'scrolling', 0], ['the same, overloaded', 'scrolling', 2],
];

async function measure({ desktop, host, phone, trace }, scene, burners) {
  const programs = [play(desktop, scene)];
  for (let i = 0; i < burners; ++i) programs.push(desktop.run(process.execPath, '-e', 'for (;;);'));
  await pause(kSettlingMs / 4);
  const clock = desktop.run(process.env.TOVALIN_PICTURE_CLOCK);
  programs.push(clock);
  await clock.out.next(/^READY$/);
  await pause(kSettlingMs * 3 / 4);
  const ages = await PictureAges.of(phone.page);
  const before = await phone.stats();
  const aheadBefore = await framesAhead(trace);
  const used = await cpuSeconds(host.pid);
  const since = process.hrtime.bigint();
  const began = performance.now();
  await pause(kSceneMs);
  const pictures = await ages.take();
  const seconds = (performance.now() - began) / 1000;
  const after = await phone.stats();
  const ahead = (await framesAhead(trace)) - aheadBefore;
  const figures = {
    pictures: pictures.filter(({ age }) => age !== null),
    ...(await readTrace(trace, since)),
    seconds,
    cpu: (100 * ((await cpuSeconds(host.pid)) - used)) / seconds,
    decoded: after.framesDecoded - before.framesDecoded - ahead,
    kbps: (after.bytesReceived - before.bytesReceived) / seconds / 1000,
    memory: await residentMb(host.pid),
  };
  for (const program of programs.reverse()) await program.stop();
  return figures;
}

const arrivalsOf = (pictures) => pictures.map(({ ageReceived }) => ageReceived);
const number = (value) => value.toFixed(value < 10 ? 1 : 0);
const half = (values) => number(quantile(values, 0.5));
const both = (values) => `${half(values)} / ${number(quantile(values, 0.95))}`;

function print(results) {
  console.log(`${kSize} in Xvfb, loopback, viewer in headless Chromium, ${os.cpus().length} cores\n`);
  console.log('| Scene | CPU, % of a core | resident MB | kB/s | pictures a second: encoded / decoded / shown' +
    ' / dropped early |\n|---|---|---|---|---|');
  for (const [name, { cpu, memory, kbps, encoded, decoded, pictures, behind, seconds }] of results) {
    const rates = [encoded, decoded, pictures.length, behind].map((count) => number(count / seconds));
    console.log(`| ${name} | ${number(cpu)} | ${number(memory)} | ${number(kbps)} | ${rates.join(' / ')} |`);
  }
  console.log('\n| Scene, ms | grab | convert | wait for the encoder | encode | change to encoded p50 / p95 |' +
    ' to the last packet p50 / p95 | decode | in the page p50 / p95 |\n|---|---|---|---|---|---|---|---|---|');
  for (const [name, { stages, pictures }] of results) {
    const { grab, convert, wait, encode, whole } = stages;
    const [ages, decodings] = ['age', 'decoding'].map((of) => pictures.map((one) => one[of]));
    console.log(`| ${name} | ${[grab, convert, wait, encode].map(half).join(' | ')} | ${both(whole)} |` +
      ` ${both(arrivalsOf(pictures))} | ${half(decodings)} | ${both(ages)} |`);
  }
  const late = (pick) => {
    const [, slow, ...loaded] = results.map(([, figures]) => quantile(pick(figures), 0.95));
    return loaded.map((value) => (value / slow).toFixed(1)).join(' and ');
  };
  console.log('\nThe last two beside slow scrolling, 95th percentiles:' +
    ` ${late(({ stages }) => stages.whole)} times to encoded,` +
    ` ${late(({ pictures }) => arrivalsOf(pictures))} times to the last packet (limit ${kMostGrowth}).`);
}

const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const trace = path.join(folder, 'trace');
try {
  const results = [];
  await withVisitedHost({ size: kSize, variables: { TOVALIN_FRAME_TRACE: trace } }, async (scene) => {
    for (const [name, played, burners] of kScenes) {
      results.push([name, await measure({ ...scene, trace }, played, burners)]);
    }
  });
  print(results);
} finally {
  await fs.rm(folder, { recursive: true, force: true });
}
