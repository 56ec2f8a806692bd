// How long a tap takes: from the lifting of the finger in the browser to the press on the desktop,
// over loopback, in both ways of touching. Needs the environment of the end-to-end tests.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Hand } from '../tests/e2e/support/hand.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { nextEvent } from '../tests/e2e/support/observations.mjs';
import { Phone } from '../tests/e2e/support/phone.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';
import { row } from './process_figures.mjs';

const kTaps = 100;
const kPhone = { viewport: { width: 390, height: 844 }, touch: true, scale: 3 };
const kPlace = [195, 470]; // on the picture
const kLimitMs = '50';

// The X server stamps its events by the same clock, in milliseconds of 32 bits.
const now = () => Number(process.hrtime.bigint() / 1000n) / 1000;
const sinceThen = (stamp, then) => {
  const elapsed = stamp - (then % 2 ** 32);
  return elapsed < -(2 ** 31) ? elapsed + 2 ** 32 : elapsed;
};

async function taps(probe, hand) {
  const times = [];
  for (let tap = 0; tap < kTaps; ++tap) {
    const since = probe.out.mark();
    hand.pause(1000).down(1, kPlace).pause(50);
    await hand.done();
    const lifted = now();
    hand.up(1);
    const { time } = await nextEvent(probe, { event: 'press', button: 1 }, { since });
    times.push(sinceThen(time, lifted));
    await nextEvent(probe, { event: 'release', button: 1 }, { since });
    await hand.done();
  }
  return times.sort((a, b) => a - b);
}

const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const parts = [];
const keep = (part) => (parts.push(part), part);
try {
  const desktop = keep(await Desktop.start());
  await fs.mkdir(path.join(folder, 'server'));
  const server = keep(new SignalServer(path.join(folder, 'server')));
  await server.start();
  const host = keep(new Host(desktop, path.join(folder, 'host')));
  await host.start(server.hostAddress);
  const phone = keep(await Phone.start(kPhone));
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  await phone.live();
  await host.status(kStatus.connected);
  host.closePairingWindow();
  await phone.pictureIs(desktop.size);
  const probe = await desktop.probe('observe');
  const hand = await Hand.of(phone);

  console.log(`| ${kTaps} taps each | measured | limit |`);
  console.log('|---|---|---|');
  for (const [mode, name] of [['trackpad', 'trackpad'], ['direct', 'direct touch']]) {
    await phone.page.evaluate((id) => document.getElementById(id).click(), `touch-${mode}`);
    const times = await taps(probe, hand);
    row(`tap to press, ${name}, median`, times[kTaps / 2], 'ms', kLimitMs);
    row(`tap to press, ${name}, 95th percentile`, times[Math.ceil(0.95 * kTaps) - 1], 'ms', '');
  }
} finally {
  for (const part of parts.reverse()) await part.stop();
  await fs.rm(folder, { recursive: true, force: true });
}
