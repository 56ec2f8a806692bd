import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { parseMessage, SignalSocket } from '../../../companion/viewer/signal_socket.js';
import { FakeClock } from './fake_world.mjs';

let clock, sockets, heard, socket;

class FakeWebSocket {
  readyState = 0;
  sent = [];
  closedWith = null;

  constructor(url) {
    this.url = url;
    sockets.push(this);
  }

  send(text) {
    this.sent.push(text);
  }

  close(code) {
    this.closedWith = code;
  }

  accept() {
    this.readyState = 1;
    this.onopen();
  }

  fail(code = 1006) {
    this.readyState = 3;
    this.onclose?.({ code });
  }
}

beforeEach(() => {
  clock = new FakeClock();
  sockets = [];
  heard = [];
  socket = new SignalSocket(
    'ws://host/viewer',
    {
      opened: () => heard.push('opened'),
      received: (message) => heard.push(message.type),
      dropped: () => heard.push('dropped'),
      replaced: () => heard.push('replaced'),
    },
    { WebSocket: FakeWebSocket, setTimeout: clock.setTimeout, clearTimeout: clock.clearTimeout });
});

const attemptsAt = (milliseconds) => {
  const before = sockets.length;
  clock.advance(milliseconds - 1);
  assert.equal(sockets.length, before, 'came back too early');
  clock.advance(1);
  assert.equal(sockets.length, before + 1, 'did not come back');
};

test('comes back after 1, 2, 4, 8, 15 and 15 seconds', () => {
  socket.open();
  for (const seconds of [1, 2, 4, 8, 15, 15]) {
    sockets.at(-1).fail();
    attemptsAt(seconds * 1000);
  }
});

test('an accepted socket alone does not shorten the next wait', () => {
  socket.open();
  sockets[0].fail();
  clock.advance(1000);
  sockets[1].accept();
  sockets[1].fail();
  attemptsAt(2000);
});

test('once the server has accepted us the next outage begins with a second', () => {
  socket.open();
  sockets[0].fail();
  clock.advance(1000);
  sockets[1].accept();
  socket.settled();
  sockets[1].fail();
  attemptsAt(1000);
});

test('an outage is told once, however many attempts fail', () => {
  socket.open();
  sockets[0].fail();
  clock.advance(1000);
  sockets[1].fail();
  clock.advance(2000);
  sockets[2].accept();
  assert.deepEqual(heard, ['dropped', 'opened']);
});

test('a closed socket stays closed and silent', () => {
  socket.open();
  const first = sockets[0];
  first.accept();
  socket.close();
  assert.equal(first.closedWith, 1000);
  first.fail();
  clock.advance(60000);
  assert.equal(sockets.length, 1);
  assert.deepEqual(heard, ['opened']);
});

test('closing during the wait ends the attempts', () => {
  socket.open();
  sockets[0].fail();
  socket.close();
  clock.advance(60000);
  assert.equal(sockets.length, 1);
  assert.equal(clock.pending, 0);
});

test('the network coming back ends the wait at once', () => {
  socket.open();
  sockets[0].fail();
  socket.hurry();
  assert.equal(sockets.length, 2);
  clock.advance(60000);
  assert.equal(sockets.length, 2, 'the waiting attempt was not cancelled');
});

test('being taken over from another window ends it for good', () => {
  socket.open();
  sockets[0].accept();
  sockets[0].fail(4001);
  clock.advance(60000);
  assert.equal(sockets.length, 1);
  assert.deepEqual(heard, ['opened', 'replaced']);
});

test('a restart leaves the old connection unheard', () => {
  socket.open();
  const first = sockets[0];
  first.accept();
  socket.restart();
  assert.equal(sockets.length, 2);
  first.fail();
  assert.deepEqual(heard, ['opened']);
  clock.advance(60000);
  assert.equal(sockets.length, 2);
});

test('sends compact JSON when open and nothing otherwise', () => {
  socket.send({ type: 'early' });
  socket.open();
  socket.send({ type: 'early' });
  sockets[0].accept();
  socket.send({ type: 'join', hostId: 'h' });
  assert.deepEqual(sockets[0].sent, ['{"type":"join","hostId":"h"}']);
});

for (const [what, data] of [
  ['a binary frame', new ArrayBuffer(2)],
  ['not JSON', 'hello'],
  ['a JSON array', '[1]'],
  ['a JSON null', 'null'],
  ['no type', '{"a":1}'],
  ['a numeric type', '{"type":1}'],
]) {
  test(`${what} is dropped and the next frame is still heard`, () => {
    socket.open();
    sockets[0].onmessage({ data });
    sockets[0].onmessage({ data: '{"type":"joined"}' });
    assert.deepEqual(heard, ['joined']);
  });
}

test('a message keeps its fields', () => {
  assert.deepEqual(parseMessage('{"type":"lock","v":true}'), { type: 'lock', v: true });
});

test('a connection that seems dead is replaced without a word on it, and not heard any more', () => {
  socket.open();
  const [old] = sockets;
  old.accept();
  socket.renew();
  assert.equal(old.closedWith, null);
  sockets[1].accept();
  old.fail(4001);
  assert.deepEqual(heard, ['opened', 'opened']);
  socket.send({ type: 'join' });
  assert.deepEqual([old.sent.length, sockets[1].sent.length], [0, 1]);
});
