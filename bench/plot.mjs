// The comparison as a picture: a row for each system, a panel for each kind of figure. It brings its
// own ground, so that it can be read on any page.

import { kScenes } from './scenes.mjs';
import { summaries } from './tables.mjs';

const kMargin = 24;
const kNames = 156; // of the column with the systems
const kPanel = 150;
const kBetweenPanels = 26;
const kFirstRow = 128;
const kRow = 46;
const kBar = 16;
const kThinBar = 10;
const kLegend = 52; // of one word
const kLabel = 58; // kept free behind the longest bar for its figure
const kFooter = 34;

const kStyle = `
  text { font: 13px system-ui, "Segoe UI", "DejaVu Sans", sans-serif; fill: #14212b; }
  .ground { fill: #ffffff; stroke: #d0d9de; }
  .title { font-size: 18px; font-weight: 600; }
  .head, .name { font-weight: 600; }
  .quiet, .scale { fill: #566572; font-size: 11px; }
  .scale { text-anchor: middle; }
  .figure { font-size: 12px; stroke: #ffffff; stroke-width: 3; paint-order: stroke; }
  .thin { font-size: 10.5px; }
  .line { stroke: #d0d9de; }
  .mark { stroke: #14212b; stroke-width: 1.5; fill: none; }
  .ours { fill: #0c7a6c; }
  .other { fill: #7e93a1; }
  @media (prefers-color-scheme: dark) {
    text { fill: #e8eff1; }
    .ground { fill: #111b23; stroke: #2c3b46; }
    .figure { stroke: #111b23; }
    .quiet, .scale { fill: #9fb0ba; }
    .line { stroke: #2c3b46; }
    .mark { stroke: #e8eff1; }
    .ours { fill: #4fbfae; }
    .other { fill: #6d8494; }
  }`;
const kTones = [0.4, 0.7, 1]; // of the three scenes

const escaped = (text) => text.replace(/[&<>]/g, (sign) => `&#${sign.charCodeAt(0)};`);
const text = (x, y, kind, words) => `<text x="${x}" y="${y}" class="${kind}">${escaped(words)}</text>`;
const line = (x, y, width, height, kind) =>
  `<path d="M${x.toFixed(1)} ${y}l${width.toFixed(1)} ${height}" class="${kind}"/>`;
const box = (x, y, width, height, kind, opacity = 1) =>
  `<rect x="${x}" y="${y}" width="${Math.max(width, 1).toFixed(1)}" height="${height}" rx="2"` +
  ` class="${kind}"${opacity < 1 ? ` opacity="${opacity}"` : ''}/>`;
const short = (value) => value.toFixed(value < 10 ? 1 : 0);
const rate = (value) => (value < 1 ? value.toPrecision(2) : short(value));

const kindOf = ({ name }) => (name.startsWith('this host') ? 'ours' : 'other');
const middleOf = (row) => kFirstRow + kRow * row + kRow / 2;

/** Panels of one bar a system, `of(system)` long. */
const linear = (systems, of) => {
  const most = Math.max(...systems.map(of));
  return (value) => (value / most) * (kPanel - kLabel);
};

function photonPanel(systems, x) {
  const length = linear(systems, ({ p95 }) => p95);
  return systems.map((system, row) => {
    const y = middleOf(row);
    const [bar, reach] = [length(system.p50), length(system.p95)];
    return box(x, y - kBar / 2, bar, kBar, kindOf(system)) +
      line(x + bar, y, reach - bar, 0, 'mark') + line(x + reach, y - kBar / 2, 0, kBar, 'mark') +
      text(x + reach + 6, y + 4, 'figure', `${short(system.p50)} / ${short(system.p95)}`);
  });
}

function cpuPanel(systems, x) {
  const length = linear(systems, ({ cpu }) => Math.max(...cpu));
  const bars = systems.flatMap((system, row) => system.cpu.map((percent, scene) => {
    const y = middleOf(row) + (scene - 1) * (kThinBar + 2) - kThinBar / 2;
    return box(x, y, length(percent), kThinBar, kindOf(system), kTones[scene]) +
      text(x + length(percent) + 6, y + 9, 'figure thin', short(percent));
  }));
  const legend = Object.keys(kScenes).map((scene, index) =>
    box(x + kLegend * index, kFirstRow - 17, 9, 9, 'other', kTones[index]) +
    text(x + kLegend * index + 12, kFirstRow - 9, 'quiet', scene));
  return [...bars, ...legend];
}

function plainPanel(systems, x, of) {
  const length = linear(systems, of);
  return systems.map((system, row) =>
    box(x, middleOf(row) - kBar / 2, length(of(system)), kBar, kindOf(system)) +
    text(x + length(of(system)) + 6, middleOf(row) + 4, 'figure', short(of(system))));
}

function ratePanel(systems, x) {
  const decades = systems.map(({ kbps }) => Math.log10(Math.max(kbps, 1) / 1000));
  const from = Math.floor(Math.min(...decades));
  const to = Math.max(...decades, from + 1);
  const length = (decade) => ((decade - from) / (to - from)) * (kPanel - kLabel + 16);
  const bottom = kFirstRow + kRow * systems.length;
  const scale = Array.from({ length: Math.floor(to - from) + 1 }, (_, index) =>
    line(x + length(from + index), kFirstRow, 0, kRow * systems.length, 'line') +
    text(x + length(from + index), bottom + 14, 'scale', String(10 ** (from + index))));
  const bars = systems.map((system, row) => {
    const [y, bar] = [middleOf(row), length(decades[row])];
    return box(x, y - kBar / 2, bar, kBar, kindOf(system)) +
      text(x + bar + 6, y + 4, 'figure', rate(system.kbps / 1000));
  });
  return [...scale, ...bars];
}

const kPanels = [
  ['Click to photon', 'ms, median', 'mark: 95th percentile', photonPanel],
  ['First picture', 'ms, median', 'that can be read',
    (systems, x) => plainPanel(systems, x, ({ readable }) => readable)],
  ['Processor', '% of a core', '', cpuPanel],
  ['Memory', 'MB resident', 'while text scrolls',
    (systems, x) => plainPanel(systems, x, ({ memory }) => memory)],
  ['Network', 'MB a second, log scale', 'while text scrolls', ratePanel],
];

/** The text of an SVG picture of what compare.mjs has measured. */
export function plotted(results) {
  const systems = summaries(results);
  const { size, cores, clicks, rounds, visits } = results.about;
  const width = 2 * kMargin + kNames + kPanels.length * (kPanel + kBetweenPanels);
  const height = kFirstRow + kRow * systems.length + kFooter;
  const names = systems.map((system, row) => {
    const [name, way] = system.name.split(', ');
    return line(kMargin, kFirstRow + kRow * row, width - 2 * kMargin, 0, 'line') +
      text(kMargin, middleOf(row) + (way ? -2 : 4), 'name', name) +
      (way ? text(kMargin, middleOf(row) + 13, 'quiet', way) : '');
  });
  const panels = kPanels.flatMap(([name, unit, note, draw], index) => {
    const x = kMargin + kNames + index * (kPanel + kBetweenPanels);
    return [
      text(x, kFirstRow - 41, 'head', name), text(x, kFirstRow - 25, 'quiet', unit),
      text(x, kFirstRow - 9, 'quiet', note), ...draw(systems, x),
    ];
  });
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}" width="${width}"` +
    ` height="${height}" role="img">\n<title>This host beside other ways to show a desktop</title>\n` +
    `<style>${kStyle}\n</style>\n` + [
    box(0.5, 0.5, width - 1, height - 1, 'ground'),
    text(kMargin, 36, 'title', 'One desktop, one program after the other'),
    text(kMargin, 56, 'quiet', `${size}, loopback, ${cores} cores; ${rounds} x ${clicks} clicks,` +
      ` ${rounds} x ${visits} visits. Shorter is better everywhere.`),
    ...names, ...panels,
  ].join('\n') + '\n</svg>\n';
}
