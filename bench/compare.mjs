// The host beside other ways to show this desktop, in one run on one machine: how long a click takes
// to change the picture, how soon there is a first one, and what watching costs in three scenes.
// `--quick` takes fewer systems and clicks and shorter scenes; `--rounds N` and `--only NAME` what
// they say; `--json FILE` keeps every figure, `--svg FILE` draws them.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { parseArgs } from 'node:util';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { plotted } from './plot.mjs';
import { cpuSeconds, residentMb } from './process_figures.mjs';
import { kScenes, play } from './scenes.mjs';
import { median } from './statistics.mjs';
import { openGstreamer } from './systems/gstreamer.mjs';
import { openHost } from './systems/host.mjs';
import { openRfbPeer } from './systems/rfb.mjs';
import { printTables } from './tables.mjs';

const { values: kOptions } = parseArgs({
  options: {
    quick: { type: 'boolean' }, rounds: { type: 'string' }, only: { type: 'string' },
    json: { type: 'string' }, svg: { type: 'string' },
  },
});
const kQuick = kOptions.quick;
const kRounds = Number(kOptions.rounds ?? (kQuick ? 1 : 3));
const kClicks = kQuick ? 30 : 50;
const kSceneMs = kQuick ? 4000 : 10000;
// A scene's beginning is not the scene; text that has just been drawn is sharpened for 15 s.
const kSettlingMs = kQuick ? 3000 : 5000;
const kAtRestMs = kQuick ? kSettlingMs : 20000;
const kVisits = kQuick ? 3 : 5;
const kBetweenVisitsMs = 1000; // so that the last viewer is gone
const kSize = '1920x1080';

const kSystems = {
  'this host': openHost,
  'this host, a viewer that asks nothing':
    (desktop, folder) => openHost(desktop, folder, { asks: false }),
  'GStreamer, webrtcbin': openGstreamer,
  'x11vnc, zrle': (desktop) => openRfbPeer(desktop, 'x11vnc', 'zrle'),
  'x11vnc, raw': (desktop) => openRfbPeer(desktop, 'x11vnc', 'raw'),
  'TigerVNC, zrle': (desktop) => openRfbPeer(desktop, 'x0vncserver', 'zrle'),
  'TigerVNC, raw': (desktop) => openRfbPeer(desktop, 'x0vncserver', 'raw'),
};
const kQuickly = ['this host', 'GStreamer, webrtcbin', 'x11vnc, zrle', 'TigerVNC, zrle'];

/** What one system takes while one scene plays. */
async function cost(system, desktop, scene) {
  const program = play(desktop, scene);
  await pause(scene === 'static' ? kAtRestMs : kSettlingMs);
  const used = await cpuSeconds(system.pid());
  const before = await system.received();
  const began = performance.now();
  await pause(kSceneMs);
  const seconds = (performance.now() - began) / 1000;
  const after = await system.received();
  const figures = {
    cpu: (100 * ((await cpuSeconds(system.pid())) - used)) / seconds,
    kbps: (after.bytes - before.bytes) / seconds / 1000,
    fps: (after.pictures - before.pictures) / seconds,
    memory: await residentMb(system.pid()),
  };
  await program.stop();
  return figures;
}

/** Visits to a screen of text that does not change: until its first picture and the first readable one. */
async function firstPictures(system, desktop) {
  const program = play(desktop, 'static');
  await pause(kSettlingMs);
  const times = [];
  while (times.length < kVisits) {
    await pause(kBetweenVisitsMs);
    times.push(await system.firstPicture());
  }
  await program.stop();
  return times;
}

async function measure(open, desktop, folder) {
  const system = await open(desktop, folder);
  try {
    const target = desktop.run(process.env.TOVALIN_CLICK_TARGET);
    await target.out.next(/^READY$/);
    await pause(kSettlingMs);
    const clicks = await system.clicks(target, kClicks);
    await target.stop();
    const scenes = {};
    for (const scene of Object.keys(kScenes)) scenes[scene] = await cost(system, desktop, scene);
    return { clicks, paced: clicks.paced ?? [], scenes, first: await firstPictures(system, desktop) };
  } finally {
    await system.stop();
  }
}

/**
 * What one picture of the scrolling scene costs the bare libraries at that rate, in milliseconds. Two
 * of them run: the host shares the processor with a browser, and two of these "cores" may be one.
 */
async function bareCost(desktop, kbytesPerSecond) {
  const program = play(desktop, 'scrolling');
  await pause(kSettlingMs);
  const words = [String(Math.round(8 * kbytesPerSecond)), String(kSceneMs / 1000)];
  const encode = () => desktop.tell(process.env.TOVALIN_BARE_ENCODER, ...words);
  const [[line]] = await Promise.all([encode(), encode()]);
  await program.stop();
  return JSON.parse(line);
}

async function keep(results) {
  if (kOptions.json) await fs.writeFile(kOptions.json, JSON.stringify(results));
}

const systems = Object.entries(kSystems)
  .filter(([name]) => (kOptions.only ? name.includes(kOptions.only) : !kQuick || kQuickly.includes(name)));
if (systems.length === 0) throw new Error(`no system is called ${kOptions.only}`);
const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const results = {
  about: { size: kSize, cores: os.cpus().length, rounds: kRounds, clicks: kClicks, visits: kVisits },
  systems: Object.fromEntries(systems.map(([name]) => [name, []])),
};
const desktop = await Desktop.start({ size: kSize });
try {
  for (let round = 0; round < kRounds; ++round) {
    for (const [name, open] of systems) {
      console.error(`round ${round + 1} of ${kRounds}: ${name}`);
      results.systems[name].push(await measure(open, desktop, folder));
      await keep(results); // whatever becomes of the systems that follow
    }
  }
  const ours = results.systems['this host'];
  if (ours) results.bare = await bareCost(desktop, median(ours.map(({ scenes }) => scenes.scrolling.kbps)));
} finally {
  await desktop.stop();
  await fs.rm(folder, { recursive: true, force: true });
}
printTables(results);
await keep(results);
if (kOptions.svg) await fs.writeFile(kOptions.svg, plotted(results));
for (const file of [kOptions.json, kOptions.svg].filter(Boolean)) console.log(`Kept: ${file}`);
