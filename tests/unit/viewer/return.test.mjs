import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { ComputerStore } from '../../../companion/viewer/computer_store.js';
import { noticeFor } from '../../../companion/viewer/notices.js';
import { Session } from '../../../companion/viewer/session.js';
import { FakeClock, FakeSignalSocket, FakeStorage, FakeVisit } from './fake_world.mjs';

const kDevice = { hostId: 'h1', hostName: 'Study', deviceId: 'd1', deviceKey: 'k1' };
const kMinuteMs = 60000;

let clock, socket, visit, world, session, interruptions;

beforeEach(() => {
  clock = new FakeClock();
  interruptions = 0;
  const store =
    new ComputerStore(() => new FakeStorage({ 'tovalin.computers': [kDevice] }));
  world = {
    navigator: { onLine: true },
    makeSocket: (events) => (socket = new FakeSignalSocket(events)),
    makeVisit: (...parts) => (visit = new FakeVisit(...parts)),
    setTimeout: clock.setTimeout,
    clearTimeout: clock.clearTimeout,
  };
  const view = {
    changed: () => {},
    picture: () => {},
    interrupted: () => {
      assert.equal(visit.closed, false, 'the picture is gone already');
      interruptions += 1;
    },
    locked: () => {},
  };
  session = new Session('ws://server/viewer', store, view, world);
  session.start();
  socket.events.opened();
});

const says = (message) => socket.events.received(message);
const settled = () => new Promise(setImmediate);
const phase = () => [session.phase, session.notice];

function offered() {
  says({ type: 'joined' });
  says({ type: 'offer', sdp: 'an offer' });
}

function live() {
  offered();
  visit.events.connected();
  socket.sent.length = 0;
}

test('a visit in which nothing comes in any more after the page was away is begun anew', async () => {
  live();
  session.back(kMinuteMs);
  await settled();
  clock.advance(3000);
  await settled();
  assert.deepEqual(phase(), ['notice', 'reconnecting']);
  assert.equal(interruptions, 1);
});

test('a visit that goes on after the page was away stays, and the server is asked whether it knows', async () => {
  live();
  session.back(kMinuteMs);
  await settled();
  assert.equal(socket.last.resume, true);
  says({ type: 'joined' });
  visit.heard += 1;
  clock.advance(kMinuteMs);
  await settled();
  assert.deepEqual(phase(), ['live', '']);
  assert.equal(socket.renewals, 0);
  assert.equal(interruptions, 0);
});

test('a server that does not answer then is connected to anew, and the visit lives on', async () => {
  live();
  session.back(kMinuteMs);
  await settled();
  visit.heard += 1;
  clock.advance(3000);
  await settled();
  assert.equal(socket.renewals, 1);
  assert.deepEqual(phase(), ['live', '']);
});

test('a visit that ended while it was looked at is not begun anew twice', async () => {
  live();
  session.back(kMinuteMs);
  await settled();
  says({ type: 'bye' });
  clock.advance(kMinuteMs);
  await settled();
  assert.deepEqual(phase(), ['notice', 'ended']);
});

test('a computer that is gone from the server and sends nothing is waited for, not hoped for', async () => {
  live();
  says({ type: 'host-gone' });
  await settled();
  clock.advance(3000);
  await settled();
  assert.deepEqual(phase(), ['notice', 'reconnecting']);
});

test('a computer that has lost the server alone goes on', async () => {
  live();
  says({ type: 'host-gone' });
  await settled();
  visit.heard += 1;
  clock.advance(kMinuteMs);
  await settled();
  assert.deepEqual(phase(), ['live', '']);
});

test('a page that still waits for its computer joins again at once when it comes back', () => {
  says({ type: 'join-failed', reason: 'host-offline' });
  const before = socket.restarts;
  session.back(10);
  assert.equal(socket.restarts, before + 1);
  assert.deepEqual(phase(), ['notice', 'host-offline']);
});

test('what began before a long absence is begun anew, after a short one it is hurried', () => {
  offered();
  const before = socket.restarts;
  session.back(1000);
  assert.deepEqual([socket.restarts, socket.hurried], [before, 1]);
  session.back(kMinuteMs);
  assert.equal(socket.restarts, before + 1);
});

test('the list asks anew who is there after a long absence', () => {
  session.home();
  const before = socket.restarts;
  session.back(kMinuteMs);
  assert.equal(socket.restarts, before + 1);
  assert.equal(session.phase, 'home');
});

for (const [end, notice] of [
  [() => says({ type: 'bye' }), 'ended'],
  [() => session.leave(), 'left'],
  [() => says({ type: 'join-failed', reason: 'busy' }), 'busy'],
]) {
  test(`coming back does not undo "${notice}"`, () => {
    end();
    const before = socket.restarts;
    session.back(kMinuteMs);
    assert.deepEqual(phase(), ['notice', notice]);
    assert.equal(socket.restarts, before);
  });
}

test('a connection that never stands is said to be in the way of the network', () => {
  offered();
  visit.events.failed();
  assert.deepEqual(phase(), ['notice', 'blocked']);
  assert.equal(socket.closed, true);
});

test('a connection that stands neither nor fails is too', () => {
  offered();
  clock.advance(20000);
  assert.deepEqual(phase(), ['notice', 'blocked']);
});

test('a computer that was there before and stays silent is asked three times', () => {
  live();
  visit.events.failed();
  for (const notice of ['reconnecting', 'reconnecting', 'no-answer']) {
    socket.events.opened();
    says({ type: 'joined' });
    clock.advance(20000);
    assert.deepEqual(phase(), ['notice', notice]);
  }
});

test('an end that the server had no part in may be a long sleep’s, and is begun anew after one', () => {
  live();
  socket.events.dropped();
  visit.events.hungUp();
  session.back(0);
  assert.deepEqual(phase(), ['notice', 'ended']);
  session.back(kMinuteMs);
  assert.deepEqual(phase(), ['notice', 'connecting']);
});

test('another network is reason enough to try again', () => {
  offered();
  visit.events.failed();
  session.back(0);
  assert.deepEqual(phase(), ['notice', 'connecting']);
});

test('a computer that was reached before is tried three times', () => {
  live();
  visit.events.failed();
  for (const round of [1, 2]) {
    socket.events.opened();
    offered();
    visit.events.failed();
    assert.deepEqual(phase(), ['notice', 'reconnecting'], `round ${round}`);
  }
  socket.events.opened();
  offered();
  visit.events.failed();
  assert.deepEqual(phase(), ['notice', 'blocked']);
});

test('the last picture is for those who wait, not for those who have left', () => {
  assert.equal(session.isComing, true);
  live();
  visit.events.failed();
  assert.equal(session.isComing, true);
  session.leave();
  assert.equal(session.isComing, false);
});

test('a server out of reach of a device without network says whose network it is', () => {
  world.navigator.onLine = false;
  socket.events.dropped();
  assert.deepEqual(phase(), ['notice', 'device-offline']);
  assert.match(noticeFor('device-offline').title, /This device/);
});
