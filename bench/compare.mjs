// The host beside other ways to show this desktop, in one run on one machine: how long a click takes
// to change the picture, and what watching costs in three scenes. `--quick` takes fewer clicks and
// shorter scenes; `--rounds=N` and `--only=NAME` what they say; `--json FILE` keeps every figure.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { Phone } from '../tests/e2e/support/phone.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';
import { openRfb } from './peers/rfb_server.mjs';
import { photonsOfPage, photonsOfRfb } from './photon_page.mjs';
import { cpuSeconds, residentMb } from './process_figures.mjs';
import { kScenes, play } from './scenes.mjs';
import { median, quantile } from './statistics.mjs';

const kQuick = process.argv.includes('--quick');
const kRounds = kQuick ? 1 : Number(/--rounds=(\d+)/.exec(process.argv.join(' '))?.[1] ?? 3);
const kClicks = kQuick ? 30 : 100;
const kSceneMs = kQuick ? 6000 : 15000;
const kSettlingMs = kQuick ? 4000 : 12000; // a scene's beginning is not the scene
const kSize = '1920x1080';

/** The host with its own page in a browser, as it ships. */
async function openHost(desktop, folder) {
  const server = new SignalServer(await fs.mkdtemp(path.join(folder, 'server-')));
  await server.start();
  const host = new Host(desktop, await fs.mkdtemp(path.join(folder, 'host-')));
  await host.start(server.hostAddress);
  await host.status(kStatus.waiting);
  const phone = await Phone.start(desktop.size);
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  await phone.live();
  // Everyday visits are to a host that has opened no window since it was started.
  await host.stop();
  await host.resume();
  await phone.page.reload();
  await phone.live();
  await phone.pictureIs(desktop.size);
  return {
    pid: () => host.pid,
    bytes: async () => (await phone.stats()).bytesReceived,
    clicks: (target, count) => photonsOfPage(phone.page, target, count),
    stop: async () => {
      for (const part of [phone, host, server]) await part.stop();
    },
  };
}

async function openPeer(desktop, name, encoding) {
  const { program, client } = await openRfb(desktop, name, encoding);
  return {
    pid: () => program.pid,
    bytes: async () => client.bytes,
    clicks: (target, count) => photonsOfRfb(client, target, count),
    stop: async () => {
      client.stop();
      await program.stop();
    },
  };
}

const kSystems = {
  'this host': openHost,
  'x11vnc, raw': (desktop) => openPeer(desktop, 'x11vnc', 'raw'),
  'x11vnc, zrle': (desktop) => openPeer(desktop, 'x11vnc', 'zrle'),
  'TigerVNC x0vncserver, raw': (desktop) => openPeer(desktop, 'x0vncserver', 'raw'),
  'TigerVNC x0vncserver, zrle': (desktop) => openPeer(desktop, 'x0vncserver', 'zrle'),
};

/** What one system takes while one scene plays. */
async function cost(system, desktop, scene) {
  const program = play(desktop, scene);
  await pause(kSettlingMs);
  const used = await cpuSeconds(system.pid());
  const bytes = await system.bytes();
  const began = performance.now();
  await pause(kSceneMs);
  const seconds = (performance.now() - began) / 1000;
  const figures = {
    cpu: (100 * ((await cpuSeconds(system.pid())) - used)) / seconds,
    kbps: ((await system.bytes()) - bytes) / seconds / 1000,
    memory: await residentMb(system.pid()),
  };
  await program.stop();
  return figures;
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
    return { clicks, scenes };
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

const number = (value) => (value < 10 ? value.toFixed(1) : value.toFixed(0));
const across = (rounds, read) => median(rounds.map(read));

function print(results) {
  console.log(`\n${kSize} in Xvfb, loopback, ${os.cpus().length} cores; medians of ${kRounds} x ${kClicks} clicks\n`);
  console.log('| System | click to photon p50 / p95 ms | CPU static / typing / scrolling, % of a core |' +
    ' resident MB | scrolling kB/s |\n|---|---|---|---|---|');
  for (const [name, rounds] of Object.entries(results)) {
    const p50 = across(rounds, ({ clicks }) => quantile(clicks.map(({ total }) => total), 0.5));
    const p95 = across(rounds, ({ clicks }) => quantile(clicks.map(({ total }) => total), 0.95));
    const cpu = Object.keys(kScenes).map((scene) =>
      number(across(rounds, ({ scenes }) => scenes[scene].cpu)));
    const memory = across(rounds, ({ scenes }) => scenes.scrolling.memory);
    const rate = across(rounds, ({ scenes }) => scenes.scrolling.kbps);
    console.log(`| ${name} | ${number(p50)} / ${number(p95)} | ${cpu.join(' / ')} | ${number(memory)} |` +
      ` ${number(rate)} |`);
  }
  const stages = ['press', 'host', 'decode', 'show'];
  console.log('\nWhere the time goes, medians in ms\n');
  console.log(`| System | ${stages.join(' | ')} |\n|---|${'---|'.repeat(stages.length)}`);
  for (const [name, rounds] of Object.entries(results)) {
    const cells = stages.map((stage) => {
      const values = rounds.flatMap(({ clicks }) => clicks.map((click) => click[stage]));
      return values[0] === undefined ? '' : number(median(values));
    });
    console.log(`| ${name} | ${cells.join(' | ')} |`);
  }
}

const only = process.argv.find((word) => word.startsWith('--only='))?.slice(7);
const systems = Object.entries(kSystems).filter(([name]) => !only || name.includes(only));
const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const results = Object.fromEntries(systems.map(([name]) => [name, []]));
const desktop = await Desktop.start({ size: kSize });
try {
  for (let round = 0; round < kRounds; ++round) {
    for (const [name, open] of systems) {
      console.error(`round ${round + 1} of ${kRounds}: ${name}`);
      results[name].push(await measure(open, desktop, folder));
    }
  }
  print(results);
  const ours = results['this host'];
  if (ours) {
    const bare = await bareCost(desktop, across(ours, ({ scenes }) => scenes.scrolling.kbps));
    const sum = (bare.grab + bare.convert + bare.encode) * 3; // percent of a core at 30 a second
    console.log(`\nBare libraries beside another busy program, scrolling, ms a picture: grab ${bare.grab}, convert ${bare.convert},` +
      ` encode ${bare.encode} at ${number(bare.kbps)} kB/s; ${number(sum)} % of a core at 30 a second,` +
      ` ${number(bare.encode * 3)} % for the encoder alone.`);
    results.bare = bare;
  }
  const file = process.argv[process.argv.indexOf('--json') + 1];
  if (process.argv.includes('--json')) await fs.writeFile(file, JSON.stringify(results));
} finally {
  await desktop.stop();
  await fs.rm(folder, { recursive: true, force: true });
}
