// What a visit costs and how quickly it starts: the host's share of a core and its memory in each
// scene, and the time from "peer-joined" to the first picture. The viewer is the real page in a
// browser on this machine, which shares the machine's cores with the host.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { Phone } from '../tests/e2e/support/phone.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';
import { firstPicture, prepareFirstPictures } from './first_picture.mjs';
import { framesAhead } from './frame_trace.mjs';
import { cpuSeconds, residentMb, row } from './process_figures.mjs';
import { play } from './scenes.mjs';

const kSize = '1920x1080';
const kSceneMs = 20000;
const kVisits = 11;
const kSettlingFrames = 36; // some twenty seconds of a static screen

const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const trace = path.join(folder, 'trace');

/** The pictures of the desktop that the viewer has decoded. */
const picturesOf = async (phone) => (await phone.stats()).framesDecoded - (await framesAhead(trace));

/** The host's share of a core over one scene, and what the viewer saw of it. */
async function measure(host, phone) {
  const seen = phone && (await picturesOf(phone));
  const used = await cpuSeconds(host.pid);
  const began = process.hrtime.bigint();
  await pause(kSceneMs);
  const seconds = Number(process.hrtime.bigint() - began) / 1e9;
  const result = {
    cpu: (100 * ((await cpuSeconds(host.pid)) - used)) / seconds,
    memory: await residentMb(host.pid),
  };
  if (phone) result.fps = ((await picturesOf(phone)) - seen) / seconds;
  return result;
}

async function firstPictures(phone, host) {
  await prepareFirstPictures(phone);
  const times = [];
  while (times.length < kVisits) times.push(await firstPicture(phone, host));
  return times.sort((a, b) => a - b);
}

const parts = [];
const keep = (part) => (parts.push(part), part);
try {
  const desktop = keep(await Desktop.start({ size: kSize }));
  const server = keep(new SignalServer(path.join(folder, 'server')));
  await fs.mkdir(path.join(folder, 'server'));
  await server.start();
  const host = keep(new Host(desktop, path.join(folder, 'host'),
    { TOVALIN_FRAME_TRACE: trace }));
  await host.start(server.hostAddress);
  const probe = await desktop.probe('pattern', 0);

  console.log(`${kSize} in Xvfb, loopback, viewer in headless Chromium, ${os.cpus().length} cores\n`);
  console.log('| What | Measured | Limit |\n|---|---|---|');
  await host.status(kStatus.waiting);
  const idle = await measure(host);
  row('CPU, no viewer', idle.cpu, '% of a core', '0.3');
  row('resident, no viewer', idle.memory, 'MB', '');

  const phone = keep(await Phone.start({ viewport: { width: 1920, height: 1080 } }));
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  await phone.live();
  await phone.pictureIs(desktop.size);
  await phone.nextFrames(kSettlingFrames);
  const fresh = await residentMb(host.pid);
  // Everyday visits are to a host that has opened no window since it was started.
  await host.stop();
  await host.resume();
  await phone.page.reload();
  await phone.live();
  await phone.pictureIs(desktop.size);
  // The first fifteen seconds go into sharpening the picture and probing the network.
  await phone.nextFrames(kSettlingFrames);
  const still = await measure(host, phone);
  row('CPU, static screen', still.cpu, '% of a core', '2');
  row('frames, static screen', still.fps, 'a second', '');
  row('resident, static screen', still.memory, 'MB', '');
  row('resident, static screen, after pairing in the window', fresh, 'MB', '');

  await probe.stop();
  play(desktop, 'scrolling');
  await phone.nextFrames(60);
  const scrolling = await measure(host, phone);
  row('CPU, scrolling text', scrolling.cpu, '% of a core', '50');
  row('frames, scrolling text', scrolling.fps, 'a second', '30');
  row('resident, scrolling text', scrolling.memory, 'MB', '150');

  const times = await firstPictures(phone, host);
  row(`first picture after "peer-joined", median of ${kVisits}`, times[kVisits >> 1], 'ms', '500');
  row('first picture, slowest', times[kVisits - 1], 'ms', '');
} finally {
  for (const part of parts.reverse()) await part.stop();
  await fs.rm(folder, { recursive: true, force: true });
}
