// How alike two pictures look: SSIM of their luma, with constants for 8 bits.

const kWindow = 8;
const kStep = 4;
const kC1 = (0.01 * 255) ** 2;
const kC2 = (0.03 * 255) ** 2;
const kFlat = 4; // variance: a window with less than that has nothing to read in it

/**
 * {all, text}: the mean over all windows from a row on, and over those in which the first picture is
 * not flat.
 */
export function similarity(first, second, width, height, fromRow = 0) {
  const count = kWindow * kWindow;
  const all = { sum: 0, windows: 0 };
  const text = { sum: 0, windows: 0 };
  for (let top = fromRow; top + kWindow <= height; top += kStep) {
    for (let left = 0; left + kWindow <= width; left += kStep) {
      let a = 0, b = 0, aa = 0, bb = 0, ab = 0;
      for (let row = 0; row < kWindow; ++row) {
        const begin = (top + row) * width + left;
        for (let i = begin; i < begin + kWindow; ++i) {
          const p = first[i];
          const q = second[i];
          a += p;
          b += q;
          aa += p * p;
          bb += q * q;
          ab += p * q;
        }
      }
      a /= count;
      b /= count;
      const varianceA = aa / count - a * a;
      const varianceB = bb / count - b * b;
      const value = ((2 * a * b + kC1) * (2 * (ab / count - a * b) + kC2)) /
        ((a * a + b * b + kC1) * (varianceA + varianceB + kC2));
      for (const set of varianceA > kFlat ? [all, text] : [all]) {
        set.sum += value;
        set.windows += 1;
      }
    }
  }
  return { all: all.sum / all.windows, text: text.sum / text.windows };
}
