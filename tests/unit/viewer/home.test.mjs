import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { ComputerStore, proofOf } from '../../../companion/viewer/computer_store.js';
import { Session } from '../../../companion/viewer/session.js';
import { FakeClock, FakeSignalSocket, FakeStorage, FakeVisit } from './fake_world.mjs';

const kStudy = { hostId: 'h1', hostName: 'Study', deviceId: 'd1', deviceKey: 'k1', lastUsed: 2 };
const kAttic = { hostId: 'h2', hostName: 'Attic', deviceId: 'd2', deviceKey: 'k2', lastUsed: 1 };

let clock, socket, session, store, visit, changes;

function open(...computers) {
  store = new ComputerStore(() => new FakeStorage({ 'tovalin.computers': computers }));
  session = new Session(
    'ws://server/viewer', store,
    { changed: () => (changes += 1), picture: () => {}, interrupted: () => {}, locked: () => {} },
    {
      makeSocket: (events) => (socket = new FakeSignalSocket(events)),
      makeVisit: (...parts) => (visit = new FakeVisit(...parts)),
      setTimeout: clock.setTimeout,
      clearTimeout: clock.clearTimeout,
    });
  session.start();
  if (!socket.closed) socket.events.opened();
}

beforeEach(() => {
  clock = new FakeClock();
  changes = 0;
});

const says = (message) => socket.events.received(message);
const present = (states) => says({
  type: 'presence', hosts: Object.entries(states).map(([hostId, state]) => ({ hostId, state })),
});

test('a page with several computers begins with their list and asks who is there', () => {
  open(kAttic, kStudy);
  assert.equal(session.phase, 'home');
  assert.deepEqual(session.computers.map(({ hostName }) => hostName), ['Study', 'Attic']);
  assert.deepEqual(socket.sent, [{ type: 'watch', devices: [proofOf(kStudy), proofOf(kAttic)] }]);
  assert.equal(session.stateOf('h1'), '');
});

test('no more than 32 computers are watched', () => {
  open(...Array.from({ length: 40 }, (_, i) => ({ ...kStudy, hostId: `h${i}`, lastUsed: 100 - i })));
  assert.equal(socket.last.devices.length, 32);
  assert.equal(socket.last.devices[0].hostId, 'h0');
});

test('what the server says of one computer leaves the others as they were', () => {
  open(kStudy, kAttic);
  present({ h1: 'online', h2: 'offline' });
  const before = changes;
  present({ h2: 'busy' });
  assert.equal(session.stateOf('h1'), 'online');
  assert.equal(session.stateOf('h2'), 'busy');
  assert.equal(changes, before + 1);
});

test('states nobody knows, and no list at all, change nothing', () => {
  open(kStudy, kAttic);
  present({ h1: 'online' });
  present({ h1: 'dancing' });
  says({ type: 'presence' });
  assert.equal(session.stateOf('h1'), 'online');
});

test('without the server nobody knows who is there, until it is back', () => {
  open(kStudy, kAttic);
  present({ h1: 'online' });
  socket.events.dropped();
  assert.equal(session.phase, 'home');
  assert.equal(session.serverAway, true);
  assert.equal(session.stateOf('h1'), '');
  socket.events.opened();
  assert.equal(session.serverAway, false);
  assert.equal(socket.last.type, 'watch');
});

test('the chosen computer is joined, on a connection that watches nothing', () => {
  open(kStudy, kAttic);
  const before = socket.restarts;
  session.open('h2');
  assert.equal(socket.restarts, before + 1);
  socket.events.opened();
  assert.deepEqual(socket.last, { type: 'join', ...proofOf(kAttic) });
  assert.equal(session.hostName, 'Attic');
});

test('going home ends the visit', () => {
  open(kStudy);
  says({ type: 'joined' });
  const before = socket.restarts;
  session.home();
  assert.equal(session.phase, 'home');
  assert.equal(socket.restarts, before + 1);
  assert.equal(clock.pending, 0);
});

test('a visit makes its computer the one used last', () => {
  open(kStudy, kAttic);
  session.open('h2');
  socket.events.opened();
  says({ type: 'joined' });
  says({ type: 'offer', sdp: 'an offer' });
  assert.equal(store.all[0].hostId, 'h1', 'nothing of it was seen yet');
  visit.events.connected();
  assert.equal(store.all[0].hostId, 'h2');
});

test('a forgotten computer is told at once, and is gone when the server has heard it', () => {
  open(kStudy, kAttic);
  session.forget('h1');
  assert.deepEqual(socket.last, { type: 'forget', ...proofOf(kStudy) });
  assert.deepEqual(session.computers.map(({ hostId }) => hostId), ['h2']);
  says({ type: 'forgotten', hostId: 'h1' });
  assert.deepEqual(store.farewells, []);
});

test('a farewell that nobody heard is said again', () => {
  open(kStudy, kAttic);
  session.forget('h1');
  socket.events.dropped();
  socket.sent.length = 0;
  socket.events.opened();
  assert.deepEqual(socket.sent.map(({ type }) => type), ['forget', 'watch']);
});

test('when the last computer is forgotten the page asks for a PIN', () => {
  open(kStudy);
  session.home();
  session.forget('h1');
  assert.equal(session.phase, 'pairing');
  session.home();
  assert.equal(session.phase, 'pairing', 'there is no list to show');
});

test('a computer that revoked this device leaves the list, and the others stay', () => {
  open(kStudy, kAttic);
  session.open('h1');
  socket.events.opened();
  says({ type: 'join-failed', reason: 'unknown-device' });
  assert.deepEqual([session.phase, session.trouble], ['pairing', 'unknown-device']);
  assert.deepEqual(session.computers.map(({ hostId }) => hostId), ['h2']);
});

test('a computer that another window forgot is not joined any more', () => {
  open(kStudy, kAttic);
  session.open('h1');
  store.forget('h1');
  socket.events.opened();
  assert.equal(session.phase, 'home');
  assert.ok(!socket.sent.some(({ type }) => type === 'join'));
});

test('a second computer can be paired beside the first', () => {
  open(kStudy);
  session.askForPin();
  session.pair({ pin: '402715' }, 'My phone');
  socket.events.opened();
  says({ type: 'paired', hostId: 'h2', hostName: 'Attic', deviceId: 'd2', deviceKey: 'k2' });
  assert.deepEqual(socket.last, { type: 'join', ...proofOf(kAttic) });
  assert.deepEqual(session.computers.map(({ hostId }) => hostId).sort(), ['h1', 'h2']);
  assert.equal(store.deviceName, 'My phone');
});

test('a lock-out says how long it lasts', () => {
  open();
  session.pair({ pin: '111111' }, '');
  socket.events.opened();
  says({ type: 'pair-failed', reason: 'locked-out', retryAfter: 42 });
  assert.deepEqual([session.trouble, session.retryAfter], ['locked-out', 42]);
  session.pair({ pin: '111111' }, '');
  assert.equal(session.retryAfter, 0);
});
