// First match wins: phones and tablets name themselves before the system they run on.
const kDevices = [
  [/iPhone/, 'iPhone'],
  [/iPad/, 'iPad'],
  [/Android.*Mobile/, 'Android phone'],
  [/Android/, 'Android tablet'],
  [/CrOS/, 'Chromebook'],
  [/Macintosh/, 'Mac'],
  [/Windows/, 'Windows PC'],
  [/Linux/, 'Linux PC'],
];

const kBrowsers = [
  [/Edg(e|A|iOS)?\//, 'Edge'],
  [/OPR\//, 'Opera'],
  [/Firefox\/|FxiOS\//, 'Firefox'],
  [/Chrom(e|ium)\/|CriOS\//, 'Chrome'],
  [/Safari\//, 'Safari'],
];

/** What to call this device until the person says better, "Android phone, Chrome" for instance. */
export function defaultDeviceName(userAgent, touchPoints = 0) {
  const first = (table) => table.find(([pattern]) => pattern.test(userAgent))?.[1];
  let device = first(kDevices);
  // Safari on an iPad claims to be a desktop; only its touch screen gives it away.
  if (device === 'Mac' && touchPoints > 1) device = 'iPad';
  return [device ?? 'Browser', first(kBrowsers)].filter(Boolean).join(', ');
}
