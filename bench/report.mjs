// The tables of comparisons that `compare.mjs --json` has kept, as if they had been one run, and with
// `--svg FILE` their plot. For runs in pieces (`--only`), and to draw again what was measured before.
//
//   node bench/report.mjs [--svg FILE] KEPT.json…

import fs from 'node:fs/promises';
import { parseArgs } from 'node:util';
import { plotted } from './plot.mjs';
import { printTables } from './tables.mjs';

const { values: kOptions, positionals: kFiles } =
  parseArgs({ allowPositionals: true, options: { svg: { type: 'string' } } });
if (kFiles.length === 0) throw new Error('which runs? report.mjs [--svg FILE] KEPT.json…');

const runs = await Promise.all(kFiles.map(async (file) => JSON.parse(await fs.readFile(file, 'utf8'))));
const results = { about: { ...runs[0].about }, systems: {} };
for (const { about, systems, bare } of runs) {
  for (const what of ['size', 'cores', 'clicks', 'visits']) {
    if (about[what] !== results.about[what]) throw new Error(`the runs differ in their ${what}`);
  }
  for (const [name, rounds] of Object.entries(systems)) (results.systems[name] ??= []).push(...rounds);
  results.bare ??= bare;
}
const counts = Object.values(results.systems).map((rounds) => rounds.length);
if (new Set(counts).size > 1) throw new Error('some systems have more rounds than others');
results.about.rounds = counts[0];
printTables(results);
if (kOptions.svg) await fs.writeFile(kOptions.svg, plotted(results));
