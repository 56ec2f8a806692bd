// Visits on poor networks: how soon the picture is there and sharp, how it does while text scrolls,
// how long a click takes, and how long an outage is felt. The networks are made by poor_link. Needs
// root, for network namespaces. `--only=WORD` takes the networks with that word in their names,
// `--only=changes` what happens during a visit; `--json FILE` keeps every figure.

import fs from 'node:fs/promises';
import os from 'node:os';
import { setTimeout as pause } from 'node:timers/promises';
import { kChanges } from './network_changes.mjs';
import { clearPictures, firstPicture } from './first_picture.mjs';
import { photonsOfPage } from './photon_page.mjs';
import { PictureAges } from './clock_age.mjs';
import { openPoorVisit } from './poor_visit.mjs';
import { play } from './scenes.mjs';
import { quantile } from './statistics.mjs';

const kSize = '1920x1080';
// As poor_link is told; a delay is one way and holds both ways, so that a round trip takes twice that.
const kNetworks = {
  'good': '',
  '20 ± 5 ms a way': 'delay=20 jitter=5',
  '100 ms a way': 'delay=100',
  '1 % loss': 'loss=1',
  '5 % loss': 'loss=5',
  '2 Mbit/s': 'rate=2000 queue=200',
  '1 Mbit/s': 'rate=1000 queue=200',
};
const kClicks = 20;
const kClicksMs = 90000; // for all of them; a line that takes longer is of no use
const kSceneMs = 15000;
const kSettlingMs = 8000;
const kWindowMs = 1500; // until a program that was just started covers the screen
const kSharpWithinMs = 20000;

/** What `task` gives; nothing when it fails or takes longer, and the reason on stderr. */
async function tried(what, ms, task) {
  const overdue = new AbortController();
  const late = pause(ms, null, { signal: overdue.signal }).then(() => {
    throw new Error(`not within ${ms} ms`);
  });
  try {
    return await Promise.race([task, late]);
  } catch (error) {
    console.error(`${what}: ${error.message.split('\n')[0]}`);
    return null;
  } finally {
    overdue.abort();
    late.catch(() => {});
    task.catch(() => {});
  }
}

/** From "joined" to the first picture, the first readable one and the first sharp one, in ms. */
async function beginning(desktop, phone, host) {
  const first = await firstPicture(phone, host);
  return { first, ...(await clearPictures(phone, desktop, 'sharp', kSharpWithinMs)) };
}

async function clicks(desktop, phone, ...words) {
  const target = desktop.run(process.env.TOVALIN_CLICK_TARGET, ...words);
  await target.out.next(/^READY$/);
  await pause(kWindowMs);
  const measured = await tried('clicks', kClicksMs, photonsOfPage(phone.page, target, kClicks));
  await target.stop();
  return measured?.map(({ total }) => total) ?? null;
}

/** What the viewer sees of a scene that plays already. */
async function watched(phone, ages) {
  await ages.take();
  const before = await phone.stats();
  const heard = phone.heard.mark();
  const began = performance.now();
  await pause(kSceneMs);
  const pictures = await ages.take();
  const after = await phone.stats();
  // The counters would be those of another connection.
  const lost = phone.heard.count(/"type":"offer"/, heard);
  if (lost > 0) console.error(`the visit was lost and begun anew ${lost} times`);
  const seconds = (performance.now() - began) / 1000;
  const grown = (name) => (lost > 0 ? NaN : after[name] - before[name]);
  return {
    shown: pictures.length / seconds,
    ages: pictures.map(({ age }) => age).filter((age) => age !== null),
    unread: pictures.filter(({ age }) => age === null).length,
    freezes: grown('freezeCount'),
    frozenSeconds: grown('totalFreezesDuration'),
    mbps: (8 * grown('bytesReceived')) / seconds / 1e6,
    quantiser: grown('qpSum') / grown('framesDecoded'),
    packetsLost: grown('packetsLost'),
    visitsLost: lost,
  };
}

async function measure({ desktop, host, link, phone }, words) {
  await link.become(words);
  const text = play(desktop, 'static');
  await pause(kWindowMs);
  const figures = await tried('beginning', 2 * kSharpWithinMs, beginning(desktop, phone, host)) ?? {};
  await pause(kWindowMs);
  figures.still = await clicks(desktop, phone);
  await text.stop();

  const scene = play(desktop, 'scrolling');
  await pause(kWindowMs);
  const clock = desktop.run(process.env.TOVALIN_PICTURE_CLOCK);
  await clock.out.next(/^READY$/);
  const ages = await PictureAges.of(phone.page);
  await pause(kSettlingMs);
  Object.assign(figures, await watched(phone, ages));
  figures.loaded = await clicks(desktop, phone, 'alone');
  await clock.stop();
  await scene.stop();
  figures.link = await link.counts();
  return figures;
}

const number = (value, digits = 0) =>
  value === null || !Number.isFinite(value) ? '–' : value.toFixed(digits);
const both = (values) => (values?.length
  ? `${number(quantile(values, 0.5))} / ${number(quantile(values, 0.95))}` : '–');

function printRow(name, figures) {
  const { first = null, readable = null, sharp = null, shown, freezes, frozenSeconds, mbps, quantiser } = figures;
  const cells = [
    name, [first, readable, sharp].map((ms) => number(ms)).join(' / '), both(figures.still), number(shown, 1),
    `${number(freezes)} (${number(frozenSeconds, 1)})`, number(mbps, 2), number(quantiser),
    both(figures.ages), both(figures.loaded),
  ];
  console.log(`| ${cells.join(' | ')} |`);
}

const only = process.argv.find((word) => word.startsWith('--only='))?.slice(7);
const networks = Object.entries(kNetworks).filter(([name]) => !only || name.includes(only));
const results = {};
const parts = [];
try {
  if (networks.length > 0) {
    console.log(`${kSize} in Xvfb, ${os.cpus().length} cores; media and input alone cross the network\n`);
    console.log('| Network | first picture / readable / sharp, ms | click, still, p50 / p95 ms | frames a second |' +
      ' freezes (s) in 15 s | Mbit/s | quantiser | picture’s age p50 / p95 ms |' +
      ' click, scrolling, p50 / p95 ms |\n|---|---|---|---|---|---|---|---|---|');
  }
  for (const [name, words] of networks) {
    console.error(`network: ${name}`);
    const visit = await openPoorVisit(parts, kSize);
    results[name] = await measure(visit, words);
    printRow(name, results[name]);
    while (parts.length > 0) await parts.pop().stop();
  }
  if (!only || only === 'changes') {
    console.log('\n| During a visit | | worst |\n|---|---|---|');
    for (const [name, change] of Object.entries(kChanges)) {
      console.error(`change: ${name}`);
      const visit = await openPoorVisit(parts, kSize);
      results[name] = await change(visit);
      while (parts.length > 0) await parts.pop().stop();
    }
  }
  const file = process.argv[process.argv.indexOf('--json') + 1];
  if (process.argv.includes('--json')) await fs.writeFile(file, JSON.stringify(results));
} finally {
  for (const part of parts.reverse()) await part.stop();
}
