/** The input that a desktop_probe in its "observe" mode has seen since the mark, motions left out. */
export function seen(probe, since = 0) {
  return probe.out.lines
    .slice(since)
    .filter((line) => line.startsWith('{'))
    .map((line) => JSON.parse(line))
    .filter(({ event }) => event !== 'motion');
}

/** Short words for what happened: "press 1 at 640,360", "key-press a". */
export function words(events) {
  return events.map(({ event, button, x, y, keysym }) =>
    button === undefined ? `${event} ${keysym}` : `${event} ${button} at ${x},${y}`);
}

/** What was typed, in the characters that a program gets. */
export function typed(events) {
  return events.filter(({ event }) => event === 'key-press').map(({ text }) => text).join('');
}

/** The next event of a kind, {event: 'press', button: 1} for instance. */
export async function nextEvent(probe, wanted, options) {
  const parts = Object.entries(wanted).map(
    ([name, value]) => `(?=.*"${name}":${JSON.stringify(value).replace(/[$()*+.?[\\\]^{|}]/g, '\\$&')}[,}])`);
  const [line] = await probe.out.next(new RegExp(`^${parts.join('')}.*`), options);
  return JSON.parse(line);
}

/** The next so many events, motions left out. */
export async function nextEvents(probe, count, since = 0) {
  const events = [];
  while (events.length < count) {
    const { input, mark } = await probe.out.next(/^\{.*"event":"(?!motion)/, { since });
    events.push(JSON.parse(input));
    since = mark;
  }
  return events;
}
