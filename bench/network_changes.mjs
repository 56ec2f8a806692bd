// What is felt when the network changes during a visit, while text scrolls.

import { setTimeout as pause } from 'node:timers/promises';
import { PictureAges } from './clock_age.mjs';
import { play } from './scenes.mjs';
import { quantile } from './statistics.mjs';

const kSettlingMs = 10000;
const kBeforeMs = 5000;
const kAfterMs = 12000;
const kOutageMs = 500;
const kOutages = 5;
const kSpanMs = 1000; // that has to be as good as before
const kNarrow = 'rate=1000 queue=200';
const kNarrowMs = 20000;

// A peer connection is made for each.
const kOffer = /"type":"offer"/;

const read = (pictures) => pictures.filter(({ age }) => age !== null);
const agesOf = (pictures) => read(pictures).map(({ age }) => age);

async function scrolling({ desktop, phone }) {
  await phone.page.reload();
  await phone.live();
  play(desktop, 'scrolling');
  await pause(2000);
  const clock = desktop.run(process.env.TOVALIN_PICTURE_CLOCK);
  await clock.out.next(/^READY$/);
  const ages = await PictureAges.of(phone.page);
  await pause(kSettlingMs);
  return ages;
}

/** The pictures of the next milliseconds. */
async function taken(ages, ms) {
  await ages.take();
  await pause(ms);
  return ages.take();
}

/** How long after `from` a span begins with pictures as many and as young as `before`; or null. */
function untilAsBefore(pictures, from, before, beforeMs) {
  const many = (0.9 * before.length * kSpanMs) / beforeMs;
  const young = quantile(agesOf(before), 0.95);
  const later = read(pictures).filter(({ seen }) => seen >= from);
  const end = later.at(-1)?.seen ?? 0;
  const first = later.find(({ seen }) => {
    const span = later.filter((one) => one.seen >= seen && one.seen < seen + kSpanMs);
    return seen + kSpanMs <= end && span.length >= many && quantile(agesOf(span), 0.9) <= young;
  });
  return first ? first.seen - from : null;
}

const seconds = (ms) => (ms === null ? `not within ${kAfterMs / 1000} s` : `${(ms / 1000).toFixed(2)} s`);
const row = (what, middle, worst) => console.log(`| ${what} | ${middle} | ${worst} |`);
// Of times; one that was never reached is the longest.
const sorted = (times) => [...times].sort((a, b) => (a ?? Infinity) - (b ?? Infinity));

async function outages(visit) {
  const { link } = visit;
  await link.become();
  const ages = await scrolling(visit);
  const rounds = [];
  for (let round = 0; round < kOutages; ++round) {
    const before = await taken(ages, kBeforeMs);
    const cut = await link.cut();
    await pause(kOutageMs);
    const mended = await link.mend();
    await pause(kAfterMs);
    const after = (await ages.take()).filter(({ seen }) => seen > mended);
    const moved = read(after).find(({ seen, age }) => seen - age > cut);
    rounds.push({
      lasted: mended - cut,
      moves: moved ? moved.seen - mended : null,
      asBefore: untilAsBefore(after, mended, before, kBeforeMs),
      oldest: Math.max(...agesOf(after)),
    });
  }
  for (const [what, name] of [['moves', 'the picture moves again'], ['asBefore', 'as before']]) {
    const times = sorted(rounds.map((one) => one[what]));
    row(`outage of ${kOutageMs} ms, ${kOutages} times: from its end until ${name}, median and worst`,
      seconds(times[kOutages >> 1]), seconds(times.at(-1)));
  }
  return rounds;
}

async function narrower(visit) {
  const { link, phone } = visit;
  await link.become();
  const ages = await scrolling(visit);
  const before = await taken(ages, kBeforeMs);
  const heard = phone.heard.mark();
  await link.become(kNarrow);
  const falling = await taken(ages, kAfterMs);
  const narrow = await taken(ages, kNarrowMs);
  const offers = phone.heard.count(kOffer, heard);
  const wide = await link.become();
  const after = await taken(ages, kAfterMs);
  const result = {
    oldest: Math.max(...agesOf(falling)),
    narrowPictures: (1000 * narrow.length) / kNarrowMs,
    narrowAges: agesOf(narrow),
    offers,
    asBefore: untilAsBefore(after, wide, before, kBeforeMs),
  };
  const ms = (value) => (Number.isFinite(value) ? `${Math.round(value)} ms` : 'no picture');
  row(`from a good network to 1 Mbit/s: the oldest picture in ${kAfterMs / 1000} s`,
    ms(result.oldest), '');
  row(`in the ${kNarrowMs / 1000} s after that: pictures a second, and visits begun anew since the fall`,
    result.narrowPictures.toFixed(1), offers);
  row('the picture’s age, p50 and p95',
    ms(quantile(result.narrowAges, 0.5)), ms(quantile(result.narrowAges, 0.95)));
  row('and back to a good one: from then until as before', seconds(result.asBefore), '');
  return result;
}

export const kChanges = { outages, narrower };
