export const kColumns = 16;
export const kRows = 9;

const channel = (step) => 20 + 40 * (step % 6);

/** The colour [r, g, b] that desktop_probe gives a block. */
export function blockColour(column, row, seed = 0) {
  return [
    channel(column * 3 + row * 5 + seed),
    channel(column * 5 + row * 2 + Math.floor(row / 6) + seed),
    channel(column * 2 + row * 7 + Math.floor(column / 6) + seed),
  ];
}

/** Where the host's own indicator stands during a visit: at the top, in the middle. */
const underIndicator = ({ x, y }, { width }) => y < 56 && Math.abs(x - width / 2) < 220;

/** The middles of all blocks that can be seen, in pixels of a screen of that size. */
export function blockMiddles({ width, height }) {
  const middles = [];
  for (let row = 0; row < kRows; ++row) {
    for (let column = 0; column < kColumns; ++column) {
      middles.push({
        column,
        row,
        x: Math.floor(((column + 0.5) * width) / kColumns),
        y: Math.floor(((row + 0.5) * height) / kRows),
      });
    }
  }
  return middles.filter((middle) => !underIndicator(middle, { width }));
}
