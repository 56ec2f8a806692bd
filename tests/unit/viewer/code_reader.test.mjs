import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { canReadCodes, CodeReader } from '../../../companion/viewer/code_reader.js';
import { Countdown } from '../../../companion/viewer/countdown.js';
import { FakeClock } from './fake_world.mjs';

const kCode = 'tovalin://pair?host=h1&token=t1';

let clock, log, looks, tracks, allow, world, reader;

beforeEach(() => {
  clock = new FakeClock();
  log = [];
  looks = []; // what the detector sees, look by look
  tracks = [];
  allow = async () => {};
  world = {
    setTimeout: clock.setTimeout,
    clearTimeout: clock.clearTimeout,
    BarcodeDetector: class {
      static getSupportedFormats = async () => ['ean_13', 'qr_code'];
      detect = async () => (looks.shift() ?? []).map((rawValue) => ({ rawValue }));
    },
    navigator: {
      mediaDevices: {
        async getUserMedia() {
          await allow();
          const track = { stopped: false, stop() { this.stopped = true; } };
          tracks.push(track);
          return { getTracks: () => [track] };
        },
      },
    },
  };
  const video = { play: async () => {}, srcObject: null };
  reader = new CodeReader(
    video,
    {
      found: ({ host }) => log.push(`found ${host}`),
      strange: () => log.push('strange'),
      failed: ({ name }) => log.push(`failed ${name}`),
    },
    world);
});

async function nextLook() {
  clock.advance(200);
  await new Promise(setImmediate);
}

test('a code is found as soon as it is in sight, and the camera stops', async () => {
  looks = [[], [kCode]];
  await reader.start();
  assert.deepEqual(log, []);
  await nextLook();
  assert.deepEqual(log, ['found h1']);
  assert.equal(tracks[0].stopped, true);
  assert.equal(clock.pending, 0);
});

test('a code of something else is said, and looking goes on', async () => {
  looks = [['https://example.org'], ['https://example.org', kCode]];
  await reader.start();
  await nextLook();
  assert.deepEqual(log, ['strange', 'found h1']);
});

test('a camera that is refused is said', async () => {
  allow = async () => {
    throw Object.assign(new Error('no'), { name: 'NotAllowedError' });
  };
  await reader.start();
  assert.deepEqual(log, ['failed NotAllowedError']);
});

test('stopped means stopped: no look, and no camera that is allowed too late', async () => {
  await reader.start();
  reader.stop();
  assert.equal(tracks[0].stopped, true);
  assert.equal(clock.pending, 0);

  let permit;
  allow = () => new Promise((resolve) => (permit = resolve));
  const starting = reader.start();
  reader.stop();
  permit();
  await starting;
  assert.equal(tracks[1].stopped, true);
  assert.equal(clock.pending, 0);
  assert.deepEqual(log, []);
});

test('scanning is offered only where the browser can read such codes with a camera', async () => {
  assert.equal(await canReadCodes(world), true);
  assert.equal(await canReadCodes({ ...world, navigator: {} }), false);
  assert.equal(await canReadCodes({ ...world, BarcodeDetector: undefined }), false);
  assert.equal(
    await canReadCodes({ ...world, BarcodeDetector: { getSupportedFormats: async () => ['ean_13'] } }),
    false);
});

test('a countdown tells every second, 0 at last, and nothing after it was stopped', () => {
  const told = [];
  const countdown = new Countdown((seconds) => told.push(seconds), clock);
  countdown.start(2.4);
  assert.equal(countdown.isRunning, true);
  clock.advance(10000);
  assert.deepEqual(told, [3, 2, 1, 0]);
  assert.equal(countdown.isRunning, false);
  countdown.start(60);
  countdown.stop();
  clock.advance(60000);
  assert.deepEqual(told, [3, 2, 1, 0, 60]);
});
