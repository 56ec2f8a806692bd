// Whether a host that was visited often is larger than one that was visited a few times: its memory,
// threads and open descriptors after each twenty visits, every one of them from the join to a picture
// and out again. `--visits=N` makes so many, 60 or more.

import fs from 'node:fs/promises';
import { setTimeout as pause } from 'node:timers/promises';
import { kStatus } from '../tests/e2e/support/host.mjs';
import { residentMb } from './process_figures.mjs';
import { withVisitedHost } from './visited_host.mjs';

const kVisits = Number(/--visits=(\d+)/.exec(process.argv.join(' '))?.[1] ?? 200);
const kEvery = 20;
const kLeast = 3 * kEvery; // a line through two points says nothing of its error
const kAtRestMs = 1500; // what ends with a visit has ended
const kLimitKb = 0;

async function visit(phone, host, address, size) {
  const since = host.mark();
  await phone.page.goto(address);
  await phone.live();
  await phone.pictureIs(size);
  await phone.page.goto('about:blank');
  await host.status(kStatus.waiting, { since });
}

/** While nobody visits. */
async function figures(pid) {
  return {
    memory: (await residentMb(pid)) * 1024,
    threads: (await fs.readdir(`/proc/${pid}/task`)).length,
    descriptors: (await fs.readdir(`/proc/${pid}/fd`)).length,
  };
}

/** {slope, error} of the straight line through these points, by least squares; its standard error. */
function line(points) {
  const sum = (term) => points.reduce((total, point) => total + term(point), 0);
  const [x, y] = [0, 1].map((axis) => sum((point) => point[axis]) / points.length);
  const spread = sum(([a]) => (a - x) ** 2);
  const slope = sum(([a, b]) => (a - x) * (b - y)) / spread;
  const rest = sum(([a, b]) => (b - y - slope * (a - x)) ** 2);
  return { slope, error: Math.sqrt(rest / (points.length - 2) / spread) };
}

if (!(kVisits >= kLeast)) throw new Error(`${kLeast} visits at the least`);
await withVisitedHost({}, async ({ desktop, host, phone }) => {
  await desktop.probe('pattern', 0);
  const address = phone.page.url();
  console.log(`${kVisits} visits to one host, ${desktop.size.width}x${desktop.size.height}\n`);
  console.log('| After so many visits | resident kB | threads | descriptors |\n|---|---|---|---|');
  const points = [];
  for (let done = 1; done <= kVisits; ++done) {
    await visit(phone, host, address, desktop.size);
    if (done % kEvery !== 0) continue;
    await pause(kAtRestMs);
    const { memory, threads, descriptors } = await figures(host.pid);
    console.log(`| ${done} | ${memory} | ${threads} | ${descriptors} |`);
    points.push([done, memory]);
  }
  const { slope, error } = line(points);
  console.log(`\nFrom the first ${kEvery} visits on: ${slope.toFixed(1)} kB a visit, give or take` +
    ` ${error.toFixed(1)} (limit ${kLimitKb}).`);
});
