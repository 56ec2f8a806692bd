import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { ComputerStore } from '../../../companion/viewer/computer_store.js';
import { Session } from '../../../companion/viewer/session.js';
import { FakeClock, FakeSignalSocket, FakeStorage, FakeVisit } from './fake_world.mjs';

const kDevice = { hostId: 'h1', hostName: 'Study', deviceId: 'd1', deviceKey: 'k1' };

let clock, socket, visits, storage, store, locks, pictures, interruptions, session;

function open() {
  store = new ComputerStore(() => storage);
  session = new Session(
    'ws://server/viewer', store,
    {
      changed: () => {},
      picture: (stream) => pictures.push(stream),
      interrupted: () => (interruptions += 1),
      locked: (locked) => locks.push(locked),
    },
    {
      makeSocket: (events) => (socket = new FakeSignalSocket(events)),
      makeVisit: (...parts) => {
        visits.push(new FakeVisit(...parts));
        return visits.at(-1);
      },
      setTimeout: clock.setTimeout,
      clearTimeout: clock.clearTimeout,
    });
  session.start();
}

beforeEach(() => {
  clock = new FakeClock();
  visits = [];
  locks = [];
  pictures = [];
  interruptions = 0;
  storage = new FakeStorage({ 'tovalin.computers': [kDevice] });
});

const says = (message) => socket.events.received(message);
const phase = () => [session.phase, session.phase === 'pairing' ? session.trouble : session.notice];

function pairedPageOpens() {
  open();
  socket.events.opened();
}

function hostOffers() {
  says({ type: 'offer', sdp: 'an offer' });
  return visits.at(-1);
}

function visitIsLive() {
  pairedPageOpens();
  says({ type: 'joined', iceServers: [{ urls: ['turn:relay'] }] });
  hostOffers().events.connected();
  assert.equal(session.phase, 'live');
  socket.sent.length = 0;
}

test('a page that is not paired asks for the PIN and opens no connection', () => {
  storage = new FakeStorage();
  open();
  assert.deepEqual(phase(), ['pairing', '']);
  assert.equal(socket.restarts, 0);
});

test('a paired page joins at once with what it remembers', () => {
  pairedPageOpens();
  assert.deepEqual(socket.sent, [{ type: 'join', hostId: 'h1', deviceId: 'd1', deviceKey: 'k1' }]);
  assert.deepEqual(phase(), ['notice', 'connecting']);
});

test('pairing sends PIN and name, keeps the key and joins on the same connection', () => {
  storage = new FakeStorage();
  open();
  session.pair({ pin: '402715' }, 'My phone');
  assert.equal(session.pairing, true);
  socket.events.opened();
  assert.deepEqual(socket.last, { type: 'pair', pin: '402715', deviceName: 'My phone' });
  says({ type: 'paired', ...kDevice });
  const { hostId, hostName, deviceId, deviceKey } = new ComputerStore(() => storage).find('h1');
  assert.deepEqual({ hostId, hostName, deviceId, deviceKey }, kDevice);
  assert.deepEqual(socket.last, { type: 'join', hostId: 'h1', deviceId: 'd1', deviceKey: 'k1' });
  assert.equal(socket.restarts, 1);
  assert.equal(session.hostName, 'Study');
});

for (const [reason, proof, trouble] of [
  ['wrong-pin', { pin: '111111' }, 'wrong-pin'],
  ['wrong-pin', { host: 'h', token: 't' }, 'bad-link'],
  ['locked-out', { pin: '111111' }, 'locked-out'],
  ['host-offline', { pin: '111111' }, 'host-offline'],
]) {
  test(`a pairing refused with ${reason} asks again and says ${trouble}`, () => {
    storage = new FakeStorage();
    open();
    session.pair(proof, '');
    socket.events.opened();
    says({ type: 'pair-failed', reason });
    assert.deepEqual(phase(), ['pairing', trouble]);
    assert.equal(session.pairing, false);
    assert.equal(socket.closed, true);
  });
}

test('a pairing without a server says so and does not go on trying', () => {
  storage = new FakeStorage();
  open();
  session.pair({ pin: '402715' }, '');
  socket.events.dropped();
  assert.deepEqual(phase(), ['pairing', 'no-server']);
  assert.equal(socket.closed, true);
});

test('a page without a server says so, and joins when the server is there', () => {
  open();
  socket.events.dropped();
  assert.deepEqual(phase(), ['notice', 'no-server']);
  socket.events.opened();
  assert.equal(socket.last.type, 'join');
});

test('the picture appears once the peer connection stands', async () => {
  pairedPageOpens();
  says({ type: 'joined', iceServers: [{ urls: ['turn:relay'] }] });
  assert.deepEqual(phase(), ['notice', 'waiting']);
  const visit = hostOffers();
  assert.deepEqual(visit.iceServers, [{ urls: ['turn:relay'] }]);
  assert.deepEqual(visit.accepted, ['an offer']);
  visit.events.picture('stream');
  visit.events.connected();
  assert.deepEqual(pictures, ['stream']);
  assert.deepEqual(phase(), ['live', '']);
  clock.advance(60000);
  assert.deepEqual(phase(), ['live', ''], 'the wait for an answer was not cancelled');
});

test('iceServers that are not a list count as none', () => {
  pairedPageOpens();
  says({ type: 'joined', iceServers: 'turn:relay' });
  assert.deepEqual(hostOffers().iceServers, []);
});

test('a host that sends no picture within 20 seconds is said not to answer', () => {
  pairedPageOpens();
  says({ type: 'joined' });
  clock.advance(19999);
  assert.deepEqual(phase(), ['notice', 'waiting']);
  clock.advance(1);
  assert.deepEqual(phase(), ['notice', 'no-answer']);
});

test('an offer the browser cannot use is said', async () => {
  pairedPageOpens();
  says({ type: 'joined' });
  says({ type: 'offer', sdp: 'broken' });
  await new Promise(setImmediate);
  assert.deepEqual(phase(), ['notice', 'no-answer']);
  assert.equal(visits[0].closed, true);
});

test('a second offer replaces the visit, and the old one is no longer heard', () => {
  visitIsLive();
  hostOffers();
  assert.equal(visits[0].closed, true);
  visits[0].events.failed();
  visits[0].events.picture('old');
  assert.deepEqual(phase(), ['live', '']);
  assert.deepEqual(pictures, []);
});

test('candidates and lock states reach the visit and the sheet', () => {
  visitIsLive();
  const message = { type: 'ice', candidate: 'c', sdpMLineIndex: 0, sdpMid: '0' };
  says(message);
  says({ type: 'lock', v: true });
  says({ type: 'lock', v: false });
  says({ type: 'lock', v: 'yes' });
  assert.deepEqual(visits[0].candidates, [message]);
  assert.deepEqual(locks.slice(-3), [true, false, false]);
});

test('a lock state that comes before the offer is kept', () => {
  pairedPageOpens();
  says({ type: 'joined' });
  says({ type: 'lock', v: true });
  hostOffers().events.connected();
  assert.equal(locks.at(-1), true);
});

test('an offline computer is tried again every five seconds', () => {
  pairedPageOpens();
  says({ type: 'join-failed', reason: 'host-offline' });
  assert.deepEqual(phase(), ['notice', 'host-offline']);
  for (const round of [2, 3]) {
    clock.advance(5000);
    assert.equal(socket.sent.length, round);
    says({ type: 'join-failed', reason: 'host-offline' });
  }
});

test('a busy computer waits for the person to try again', () => {
  pairedPageOpens();
  says({ type: 'join-failed', reason: 'busy' });
  clock.advance(60000);
  assert.deepEqual(phase(), ['notice', 'busy']);
  assert.equal(socket.closed, true);
  session.join();
  socket.events.opened();
  assert.equal(socket.last.type, 'join');
});

test('a device the computer no longer knows has to pair again', () => {
  pairedPageOpens();
  says({ type: 'join-failed', reason: 'unknown-device' });
  assert.deepEqual(phase(), ['pairing', 'unknown-device']);
  assert.deepEqual(new ComputerStore(() => storage).all, []);
  assert.deepEqual(store.farewells, [], 'the computer knows already');
});

test('ended at the computer stays ended', () => {
  visitIsLive();
  says({ type: 'bye' });
  clock.advance(60000);
  assert.deepEqual(phase(), ['notice', 'ended']);
  assert.equal(visits[0].closed, true);
  assert.equal(socket.closed, true);
});

test('"bye" after the connection has ended is still the end', () => {
  visitIsLive();
  visits[0].events.hungUp();
  clock.advance(999);
  says({ type: 'bye' });
  clock.advance(60000);
  assert.deepEqual(phase(), ['notice', 'ended']);
});

test('a connection that ends without "bye" is begun anew', () => {
  visitIsLive();
  visits[0].events.hungUp();
  const before = socket.restarts;
  clock.advance(1000);
  assert.deepEqual(phase(), ['notice', 'reconnecting']);
  assert.equal(socket.restarts, before + 1);
});

test('a visit outlives the server and is resumed, not begun anew', () => {
  visitIsLive();
  socket.events.dropped();
  assert.deepEqual(phase(), ['live', '']);
  assert.equal(visits[0].closed, false);
  socket.events.opened();
  assert.deepEqual(
    socket.sent, [{ type: 'join', hostId: 'h1', deviceId: 'd1', deviceKey: 'k1', resume: true }]);
  says({ type: 'joined', iceServers: [] });
  clock.advance(60000);
  assert.deepEqual(phase(), ['live', '']);
});

test('resuming is tried again while the computer is slower to come back', () => {
  visitIsLive();
  socket.events.dropped();
  socket.events.opened();
  says({ type: 'join-failed', reason: 'host-offline' });
  clock.advance(5000);
  assert.equal(socket.sent.length, 2);
  assert.equal(socket.last.resume, true);
  assert.deepEqual(phase(), ['live', '']);
});

for (const reason of ['busy', 'unknown-device']) {
  test(`a resume refused with ${reason} leaves the living visit alone`, () => {
    visitIsLive();
    socket.events.dropped();
    socket.events.opened();
    says({ type: 'join-failed', reason });
    assert.deepEqual(phase(), ['live', '']);
    assert.equal(store.all.length, 1);
  });
}

test('hung up while the server is away counts as ended: nobody comes back unasked', () => {
  visitIsLive();
  socket.events.dropped();
  visits[0].events.hungUp();
  assert.deepEqual(phase(), ['notice', 'ended']);
});

test('an interruption shows, and heals', () => {
  visitIsLive();
  visits[0].events.unsteady();
  assert.equal(session.unsteady, true);
  clock.advance(7999);
  visits[0].events.connected();
  clock.advance(60000);
  assert.equal(session.unsteady, false);
  assert.deepEqual(phase(), ['live', '']);
});

test('an interruption of eight seconds begins the visit anew', () => {
  visitIsLive();
  visits[0].events.unsteady();
  clock.advance(8000);
  assert.deepEqual(phase(), ['notice', 'reconnecting']);
  socket.events.opened();
  assert.equal(socket.last.resume, undefined);
});

test('a failed connection is begun anew at once', () => {
  visitIsLive();
  visits[0].events.failed();
  assert.deepEqual(phase(), ['notice', 'reconnecting']);
  assert.equal(visits[0].closed, true);
});

test('a host away from the server does not disturb a living visit', () => {
  visitIsLive();
  says({ type: 'host-gone' });
  says({ type: 'host-back' });
  assert.deepEqual(phase(), ['live', '']);
  assert.deepEqual(socket.sent, []);
});

test('a host that comes back while the picture is interrupted is joined at once', () => {
  visitIsLive();
  says({ type: 'host-gone' });
  visits[0].events.unsteady();
  const before = socket.restarts;
  says({ type: 'host-back' });
  assert.equal(socket.restarts, before + 1);
});

test('a host that goes before there is a picture is waited for', () => {
  pairedPageOpens();
  says({ type: 'joined' });
  says({ type: 'host-gone' });
  clock.advance(60000);
  assert.deepEqual(phase(), ['notice', 'host-gone']);
  says({ type: 'host-back' });
  assert.deepEqual(phase(), ['notice', 'connecting']);
});

test('leaving ends the visit and stays away', () => {
  visitIsLive();
  session.leave();
  clock.advance(60000);
  assert.deepEqual(phase(), ['notice', 'left']);
  assert.equal(visits[0].closed, true);
  assert.equal(socket.closed, true);
});

test('a visit taken over by another window ends here', () => {
  visitIsLive();
  socket.events.replaced();
  assert.deepEqual(phase(), ['notice', 'taken-over']);
  assert.equal(visits[0].closed, true);
});

test('the end of a visit takes the lock sheet away', () => {
  visitIsLive();
  says({ type: 'lock', v: true });
  says({ type: 'bye' });
  assert.equal(locks.at(-1), false);
});
