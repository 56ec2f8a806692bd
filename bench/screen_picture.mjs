// The picture on a desktop, as X knows it, in the luma that the host's conversion gives it.

import { execFile } from 'node:child_process';
import { promisify } from 'node:util';

// The words of the header of the X window dump format, big-endian, that matter here.
const kHeader = {
  size: 0, width: 4, height: 5, byteOrder: 7, bitsPerPixel: 11, bytesPerLine: 12, colours: 19,
};
const kBytesPerColour = 12;
const kMostBytes = 128 * 1024 * 1024;

/** {width, height, luma}: the whole screen without the pointer; BT.601 in its limited range. */
export async function screenPicture(desktop) {
  const { stdout } = await promisify(execFile)('xwd', ['-root', '-silent'],
    { env: desktop.env, encoding: 'buffer', maxBuffer: kMostBytes });
  const word = (name) => stdout.readUInt32BE(4 * kHeader[name]);
  const [width, height] = [word('width'), word('height')];
  // Four, or three where windows have different visuals; the lines have the same length then.
  const bytes = word('bitsPerPixel') / 8;
  if (![3, 4].includes(bytes) || word('byteOrder') !== 0) throw new Error('a strange kind of screen');
  const begin = word('size') + kBytesPerColour * word('colours');
  const luma = new Uint8Array(width * height);
  for (let y = 0, to = 0; y < height; ++y) {
    let from = begin + y * word('bytesPerLine');
    for (const end = to + width; to < end; ++to, from += bytes) {
      const [blue, green, red] = [stdout[from], stdout[from + 1], stdout[from + 2]];
      luma[to] = (66 * red + 129 * green + 25 * blue + 0x1080) >> 8;
    }
  }
  return { width, height, luma };
}
