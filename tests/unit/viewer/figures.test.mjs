import assert from 'node:assert/strict';
import { test } from 'node:test';
import { figureLines, figuresBetween, pictureCounters } from '../../../companion/viewer/figures.js';

const kVideo = {
  id: 'IT01V1', type: 'inbound-rtp', kind: 'video', timestamp: 10000, codecId: 'CIT01',
  frameWidth: 1920, frameHeight: 1080, framesDecoded: 100, bytesReceived: 1000000,
  packetsReceived: 1000, packetsLost: 5, jitterBufferDelay: 4, jitterBufferEmittedCount: 100,
  totalDecodeTime: 0.5,
};
const kOther = [
  { id: 'T01', type: 'transport', selectedCandidatePairId: 'CP2' },
  { id: 'CP1', type: 'candidate-pair', currentRoundTripTime: 0.9 },
  {
    id: 'CP2', type: 'candidate-pair', currentRoundTripTime: 0.025,
    localCandidateId: 'L', remoteCandidateId: 'R',
  },
  { id: 'L', type: 'local-candidate', candidateType: 'host' },
  { id: 'R', type: 'remote-candidate', candidateType: 'srflx' },
  { id: 'CIT01', type: 'codec', mimeType: 'video/VP8' },
  { id: 'IT02A', type: 'inbound-rtp', kind: 'audio', bytesReceived: 7 },
];
const report = (change = {}, other = kOther) => [...other, { ...kVideo, ...change }];

const kTwoSecondsLater = {
  timestamp: 12000, framesDecoded: 150, bytesReceived: 1500000, packetsReceived: 1095,
  packetsLost: 10, jitterBufferDelay: 6, jitterBufferEmittedCount: 150, totalDecodeTime: 0.75,
};

test('two reports make the figures of the time between them', () => {
  assert.deepEqual(figuresBetween(report(), report(kTwoSecondsLater)), {
    width: 1920, height: 1080, framesPerSecond: 25, bitsPerSecond: 2000000, roundTrip: 25,
    loss: 0.05, jitterBuffer: 40, decoding: 5, codec: 'VP8', isRelayed: false,
  });
});

test('one report tells what needs no time', () => {
  const { width, framesPerSecond, bitsPerSecond, loss, roundTrip, codec } =
    figuresBetween([], report());
  assert.deepEqual(
    { width, framesPerSecond, bitsPerSecond, loss, roundTrip, codec },
    { width: 1920, framesPerSecond: null, bitsPerSecond: null, loss: null, roundTrip: 25, codec: 'VP8' });
});

test('either end of the way makes it a relayed one', () => {
  for (const id of ['L', 'R']) {
    const relayed = kOther.map((one) => (one.id === id ? { ...one, candidateType: 'relay' } : one));
    assert.equal(figuresBetween([], report({}, relayed)).isRelayed, true, id);
  }
});

test('a browser that marks the pair itself is understood', () => {
  const marked = kOther.filter(({ type }) => type !== 'transport')
    .map((one) => (one.id === 'CP2' ? { ...one, selected: true } : one));
  assert.equal(figuresBetween([], report({}, marked)).roundTrip, 25);
});

test('a still second has no decoding time, and no loss', () => {
  const { framesPerSecond, decoding, jitterBuffer, loss } =
    figuresBetween(report(), report({ timestamp: 11000 }));
  assert.deepEqual(
    { framesPerSecond, decoding, jitterBuffer, loss },
    { framesPerSecond: 0, decoding: null, jitterBuffer: null, loss: 0 });
});

test('packets that were late, not lost, make no negative loss', () => {
  const later = report({ timestamp: 11000, packetsLost: 2, packetsReceived: 1003 });
  assert.equal(figuresBetween(report(), later).loss, 0);
});

test('the counters of another visit are not mixed in', () => {
  const anew = report({ id: 'IT01V2', timestamp: 11000, framesDecoded: 3 });
  assert.equal(figuresBetween(report(), anew).framesPerSecond, null);
});

test('the counters are those of the picture, not of what else comes in', () => {
  const own = {
    framesPerSecond: 30, qpSum: 2000, freezeCount: 1, totalFreezesDuration: 0.4,
    googTimingFrameInfo: '90000,1,2,3',
  };
  assert.deepEqual(pictureCounters(report(own)), {
    ...own, framesDecoded: 100, frameWidth: 1920, frameHeight: 1080, bytesReceived: 1000000,
    packetsLost: 5,
  });
});

test('no statistics are no figures, and every line is there all the same', () => {
  const lines = figureLines(figuresBetween([], []));
  assert.equal(lines.length, 9);
  assert.ok(lines.every(([label, value]) => label && value === '–'));
});

test('the lines say it in units', () => {
  assert.deepEqual(figureLines(figuresBetween(report(), report(kTwoSecondsLater))), [
    ['Picture', '1920 × 1080'], ['Frames', '25 a second'], ['Data', '2.00 Mbit/s'],
    ['Round trip', '25 ms'], ['Loss', '5.0 %'], ['Waiting', '40 ms'], ['Decoding', '5.0 ms'],
    ['Format', 'VP8'], ['Way', 'Direct'],
  ]);
});
