// How many blocks each thread of the host asks the heap for with each picture, in two scenes at their
// steady pace. heap_counter counts them, preloaded into the host.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { framesAhead } from './frame_trace.mjs';
import { play } from './scenes.mjs';
import { withVisitedHost } from './visited_host.mjs';

const kSettlingMs = 8000;
const kSceneMs = 10000;
const kLookMs = 10;
const kPatienceMs = 5000;
const kRare = 0.05; // a picture, and less: not the work of one

/** The blocks of each thread so far. */
async function counted(host, file) {
  await fs.rm(file, { force: true });
  process.kill(host.pid, 'SIGUSR2');
  const began = performance.now();
  for (;;) {
    const lines = (await fs.readFile(file, 'utf8').catch(() => '')).split('\n');
    if (lines.at(-2) === 'END') return new Map(lines.slice(0, -2).map((line) => line.split(' ')));
    if (performance.now() - began > kPatienceMs) throw new Error('the host does not tell its counts');
    await pause(kLookMs);
  }
}

const nameOf = async (pid, thread) =>
  (await fs.readFile(`/proc/${pid}/task/${thread}/comm`, 'utf8').catch(() => 'gone')).trim();

/** Blocks a picture by the name of the thread, from the most to the fewest. */
async function measure({ desktop, host, phone }, scene, file) {
  const program = play(desktop, scene);
  await pause(kSettlingMs);
  const before = await counted(host, file);
  const pictures = async () => (await phone.stats()).framesDecoded - (await framesAhead(trace));
  const picturesBefore = await pictures();
  await pause(kSceneMs);
  const after = await counted(host, file);
  const grownPictures = (await pictures()) - picturesBefore;
  const names = new Map();
  for (const [thread, blocks] of after) {
    const name = await nameOf(host.pid, thread);
    const grown = Number(blocks) - Number(before.get(thread) ?? 0);
    names.set(name, (names.get(name) ?? 0) + grown / grownPictures);
  }
  await program.stop();
  return [...names].filter(([, blocks]) => blocks > kRare).sort(([, a], [, b]) => b - a);
}

const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const file = path.join(folder, 'counts');
const trace = path.join(folder, 'trace');
const variables = {
  LD_PRELOAD: process.env.TOVALIN_HEAP_COUNTER, TOVALIN_HEAP_COUNTS: file, TOVALIN_FRAME_TRACE: trace,
};
try {
  console.log('| Scene | blocks of the heap with each picture, by thread |\n|---|---|');
  await withVisitedHost({ variables }, async (visit) => {
    for (const scene of ['typing', 'scrolling']) {
      const threads = await measure(visit, scene, file);
      console.log(`| ${scene} | ${threads.map(([name, blocks]) => `${name} ${blocks.toFixed(1)}`).join(', ')} |`);
    }
  });
} finally {
  await fs.rm(folder, { recursive: true, force: true });
}
