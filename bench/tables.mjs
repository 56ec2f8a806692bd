// The comparison as tables, and the figures of each system that tables and plot both show.

import { kStages } from './photon_page.mjs';
import { kScenes } from './scenes.mjs';
import { median, quantile } from './statistics.mjs';

const number = (value) => (value < 10 ? value.toFixed(1) : value.toFixed(0));
const across = (rounds, read) => median(rounds.map(read));

/**
 * Of each system, medians of its rounds: name, p50 and p95 of click to photon, `first` and first
 * `readable` picture in milliseconds, `cpu` of each scene in percent of a core, and of the scrolling scene `memory` in MB,
 * `kbps`, kilobytes a second, and `fps`, pictures a second.
 */
export function summaries({ systems }) {
  return Object.entries(systems).map(([name, rounds]) => {
    const total = (part) =>
      across(rounds, ({ clicks }) => quantile(clicks.map((click) => click.total), part));
    return {
      name,
      p50: total(0.5),
      p95: total(0.95),
      first: across(rounds, ({ first }) => median(first.map((visit) => visit.first))),
      readable: across(rounds, ({ first }) => median(first.map((visit) => visit.readable))),
      cpu: Object.keys(kScenes).map((scene) => across(rounds, ({ scenes }) => scenes[scene].cpu)),
      memory: across(rounds, ({ scenes }) => scenes.scrolling.memory),
      kbps: across(rounds, ({ scenes }) => scenes.scrolling.kbps),
      fps: across(rounds, ({ scenes }) => scenes.scrolling.fps),
    };
  });
}

function printComparison(results) {
  const { size, cores, rounds, clicks, visits } = results.about;
  console.log(`\n${size} in Xvfb, loopback, ${cores} cores; medians of ${rounds} x ${clicks} clicks and` +
    ` ${visits} visits\n`);
  console.log('| System | click to photon p50 / p95 ms | first picture / readable ms |' +
    ' CPU static / typing / scrolling, % of a core | resident MB | scrolling: pictures and kB a second |');
  console.log(`|${'---|'.repeat(6)}`);
  for (const { name, p50, p95, first, readable, cpu, memory, kbps, fps } of summaries(results)) {
    const cells = [`${number(p50)} / ${number(p95)}`, `${number(first)} / ${number(readable)}`, cpu.map(number).join(' / '),
      number(memory), `${number(fps)} / ${number(kbps)}`];
    console.log(`| ${name} | ${cells.join(' | ')} |`);
  }
}

function printStages({ systems }) {
  console.log('\nWhere the time goes, medians in ms\n');
  console.log(`| System | ${kStages.join(' | ')} |\n|---|${'---|'.repeat(kStages.length)}`);
  for (const [name, rounds] of Object.entries(systems)) {
    const cells = kStages.map((stage) => {
      const values = rounds.flatMap(({ clicks }) => clicks.map((click) => click[stage]));
      return values[0] === undefined ? '' : number(median(values));
    });
    console.log(`| ${name} | ${cells.join(' | ')} |`);
  }
  for (const [name, rounds] of Object.entries(systems)) {
    const paced = rounds.flatMap((round) => round.paced);
    if (paced.length === 0) continue;
    const mean = paced.reduce((sum, one) => sum + one, 0) / paced.length;
    console.log(`\n${name}: of the sending ${mean.toFixed(1)} ms in the pacer, the mean of` +
      ` ${paced.length} pictures that the sender has timed.`);
  }
}

function printBare({ grab, convert, encode, kbps }) {
  const percent = (milliseconds) => number(milliseconds * 3); // of a core, at 30 pictures a second
  console.log(`\nBare libraries beside another busy program, scrolling, ms a picture: grab ${grab},` +
    ` convert ${convert}, encode ${encode} at ${number(kbps)} kB/s; ${percent(grab + convert + encode)}` +
    ` % of a core at 30 a second, ${percent(encode)} % for the encoder alone.`);
}

/** Prints what compare.mjs has measured. */
export function printTables(results) {
  printComparison(results);
  printStages(results);
  if (results.bare) printBare(results.bare);
}
