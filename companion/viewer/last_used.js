const kDay = 'en-CA'; // writes 2026-03-01, which compares like the days do
const kDayMs = 86400000;

/** When a computer was last used, in words; times are milliseconds since 1970, 0 is never. */
export function lastUsedWords(then, now, timeZone) {
  if (!then) return 'Not used yet';
  const day = (time) => new Date(time).toLocaleDateString(kDay, { timeZone });
  if (day(then) === day(now)) return 'Used today';
  if (day(then) === day(now - kDayMs)) return 'Used yesterday';
  const sameYear = day(then).slice(0, 4) === day(now).slice(0, 4);
  const date = new Date(then).toLocaleDateString('en-GB', {
    day: 'numeric', month: 'long', ...(!sameYear && { year: 'numeric' }), timeZone,
  });
  return `Used on ${date}`;
}
