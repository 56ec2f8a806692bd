// Where the host's time goes, picture by picture: the file that TOVALIN_FRAME_TRACE names.

import fs from 'node:fs/promises';

const kMs = 1e6;

/**
 * Of the new pictures, not the repeats, since that moment (nanoseconds of CLOCK_MONOTONIC):
 * {stages, encoded, behind}, by stage its times in milliseconds, how many were encoded, and how many
 * were dropped before their conversion because the encoder was behind. A picture that was replaced
 * by a newer one while it waited for the encoder has no times there.
 */
export async function readTrace(file, sinceNs) {
  const stages = { grab: [], convert: [], wait: [], encode: [], whole: [] };
  const pictures = new Map();
  let behind = 0;
  let encoded = 0;
  let counts = false;
  let last = 0;
  for (const line of (await fs.readFile(file, 'utf8')).split('\n')) {
    const [kind, microseconds, ...values] = line.split(' ');
    const numbers = values.map(Number);
    if (kind === 'source') {
      const [noticed, taken, begun, converted] = numbers;
      counts = begun >= Number(sinceNs);
      if (!counts || taken === last) continue;
      last = taken;
      pictures.set(microseconds, { noticed, converted });
      stages.grab.push((begun - taken) / kMs);
      stages.convert.push((converted - begun) / kMs);
    } else if (kind === 'behind') {
      behind += counts;
    } else if (kind === 'encoder') {
      const picture = pictures.get(microseconds);
      if (!picture) continue;
      const [, begun, done] = numbers;
      encoded += 1;
      stages.wait.push((begun - picture.converted) / kMs);
      stages.encode.push((done - begun) / kMs);
      stages.whole.push((done - picture.noticed) / kMs);
    }
  }
  return { stages, encoded, behind };
}

/**
 * How many of the frames that a viewer has decoded were no pictures, but went ahead of one that was
 * counted as well: what only moves, and the black one at the beginning.
 */
export async function framesAhead(file) {
  return (await fs.readFile(file, 'utf8')).split('\n').filter((line) => line.startsWith('ahead ')).length;
}
