// Browsers before 2024 may lack the segmenter; code points are the next best there.
const segmenter = globalThis.Intl?.Segmenter
  ? new Intl.Segmenter(undefined, { granularity: 'grapheme' })
  : null;

/** The characters of a text as a person counts them: an emoji of several code points is one. */
export function characters(text) {
  return segmenter ? Array.from(segmenter.segment(text), ({ segment }) => segment) : [...text];
}

/**
 * What turns the end of one text into another's: how many characters to take away behind the last
 * one they share, and what to put there.
 */
export function change(from, to) {
  const [old, now] = [[...from], [...to]];
  let same = 0;
  while (same < old.length && old[same] === now[same]) same += 1;
  // A text that only grows needs nothing taken away, even where its last character grows with it.
  if (same === old.length) return { remove: 0, insert: now.slice(same).join('') };

  const kept = old.slice(0, same).join('').length;
  const all = characters(from);
  let length = 0;
  let whole = 0;
  while (length + all[whole].length <= kept) length += all[whole++].length;
  return { remove: all.length - whole, insert: to.slice(length) };
}
