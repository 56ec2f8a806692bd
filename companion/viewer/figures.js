/**
 * The figures of a visit between two reports of the browser, each the list of its statistics; times
 * in milliseconds, rates a second, shares from 0 to 1. A figure the browser does not tell, or that two
 * reports are needed for, is null.
 */
export function figuresBetween(before, after) {
  const video = videoOf(after);
  const earlier = videoOf(before, video?.id);
  const pair = pairOf(after);
  const byId = (id) => after.find((one) => one.id === id);
  const seconds = earlier ? (video.timestamp - earlier.timestamp) / 1000 : 0;
  const grown = (name) =>
    seconds > 0 && Number.isFinite(video[name] - earlier[name]) ? video[name] - earlier[name] : null;
  const per = (amount, base) => (amount === null || !base ? null : amount / base);
  const milliseconds = (value) => (Number.isFinite(value) ? value * 1000 : null);

  const lost = grown('packetsLost');
  const received = grown('packetsReceived');
  const codec = video && byId(video.codecId)?.mimeType;
  const ways = pair ? [byId(pair.localCandidateId), byId(pair.remoteCandidateId)] : [];
  return {
    width: video?.frameWidth ?? null,
    height: video?.frameHeight ?? null,
    framesPerSecond: per(grown('framesDecoded'), seconds),
    bitsPerSecond: per(grown('bytesReceived'), seconds / 8),
    roundTrip: milliseconds(pair?.currentRoundTripTime),
    // Packets that came after all are taken off the lost ones again.
    loss: lost === null || received === null ? null : per(Math.max(0, lost), lost + received) ?? 0,
    jitterBuffer: milliseconds(per(grown('jitterBufferDelay'), grown('jitterBufferEmittedCount'))),
    decoding: milliseconds(per(grown('totalDecodeTime'), grown('framesDecoded'))),
    codec: codec ? codec.replace(/^video\//i, '') : null,
    isRelayed: pair ? ways.some((way) => way?.candidateType === 'relay') : null,
  };
}

const kCounters = [
  'framesDecoded', 'framesPerSecond', 'frameWidth', 'frameHeight', 'bytesReceived', 'packetsLost',
  'qpSum', 'freezeCount', 'totalFreezesDuration',
  'googTimingFrameInfo', // Chromium's: the way of the last picture that the host has timed
];

/** What the browser counts of the incoming picture, for the tests and the curious. */
export function pictureCounters(report) {
  const video = videoOf(report) ?? {};
  return Object.fromEntries(kCounters.map((name) => [name, video[name]]));
}

/** The figures as lines of [label, value], every line always there. */
export function figureLines(figures) {
  const whole = (value, unit) => (value === null ? '–' : `${Math.round(value)} ${unit}`);
  const { width, height, bitsPerSecond, loss, codec, isRelayed } = figures;
  const way = isRelayed ? 'Relayed' : 'Direct';
  return [
    ['Picture', width ? `${width} × ${height}` : '–'],
    ['Frames', whole(figures.framesPerSecond, 'a second')],
    ['Data', bitsPerSecond === null ? '–' : `${(bitsPerSecond / 1e6).toFixed(2)} Mbit/s`],
    ['Round trip', whole(figures.roundTrip, 'ms')],
    ['Loss', loss === null ? '–' : `${(loss * 100).toFixed(1)} %`],
    ['Waiting', whole(figures.jitterBuffer, 'ms')],
    ['Decoding', figures.decoding === null ? '–' : `${figures.decoding.toFixed(1)} ms`],
    ['Format', codec ?? '–'],
    ['Way', isRelayed === null ? '–' : way],
  ];
}

function videoOf(report, id) {
  return report.find((one) =>
    one.type === 'inbound-rtp' && one.kind === 'video' && (id === undefined || one.id === id));
}

// Firefox marks the pair in use, the others name it in the transport.
function pairOf(report) {
  const chosen = report.find(({ type }) => type === 'transport')?.selectedCandidatePairId;
  return report.find(
    ({ id, type, selected }) => type === 'candidate-pair' && (chosen ? id === chosen : selected));
}
