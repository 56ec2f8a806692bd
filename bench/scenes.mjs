// What happens on the desktop while the cost of showing it is measured.

const kFont = ['-fa', 'DejaVu Sans Mono', '-fs', '11'];

// So many lines of text a second, one at a time, as `tail -f` of a log would show.
const scroll = (lines) => `
  let n = 0;
  const words = 'the quick brown fox jumps over the lazy dog while the log scrolls by ';
  setInterval(() => { console.log(String(++n).padStart(7), words.slice(n % 40).repeat(3)); }, 1000 / ${lines});`;

// Four characters a second under a screenful of text.
const kTyping = `
  const words = 'the quick brown fox jumps over the lazy dog while nobody scrolls ';
  for (let n = 0; n < 50; ++n) console.log(words.slice(n % 40).repeat(3).slice(0, 150));
  let n = 0;
  setInterval(() => process.stdout.write(words[n++ % words.length]), 250);`;

const kText = kTyping.slice(0, kTyping.indexOf('let n = 0;\n  setInterval')) + 'setInterval(() => {}, 1e6);';

export const kScenes = { static: kText, typing: kTyping, scrolling: scroll(30) };
const kSlowly = { ...kScenes, 'slow scrolling': scroll(4) };

/**
 * A full-screen terminal with that scene, or with "slow scrolling", where a machine can rest between
 * the lines; the program to stop when it is over.
 */
export function play(desktop, scene) {
  return desktop.run('xterm', '-fullscreen', ...kFont, '+sb', '-e',
    process.execPath, '-e', kSlowly[scene]);
}
