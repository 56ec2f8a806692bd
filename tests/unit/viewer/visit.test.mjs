import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Visit } from '../../../companion/viewer/visit.js';

const kAnswer = 'v=0\r\na=setup:active\r\n';
const kPassive = 'v=0\r\na=setup:passive\r\n';

/** A browser's connection; `accepts` tells which local description it takes. */
function connectionThat(accepts) {
  return class {
    async setRemoteDescription(description) {
      this.remoteDescription = description;
    }
    async createAnswer() {
      return { type: 'answer', sdp: kAnswer };
    }
    async setLocalDescription({ type, sdp }) {
      assert.equal(type, 'answer');
      if (!accepts(sdp)) throw new Error('not the description that was made');
      this.localDescription = { type, sdp };
    }
  };
}

async function answerOf(accepts) {
  globalThis.RTCPeerConnection = connectionThat(accepts);
  const sent = [];
  await new Visit([], (message) => sent.push(message), {}).accept('v=0\r\n');
  delete globalThis.RTCPeerConnection;
  return sent;
}

test('the answer lets the host begin the handshake', async () => {
  assert.deepEqual(await answerOf(() => true), [{ type: 'answer', sdp: kPassive }]);
});

test('where the browser insists on its own answer, that is the one the host gets', async () => {
  assert.deepEqual(await answerOf((sdp) => sdp === kAnswer), [{ type: 'answer', sdp: kAnswer }]);
});
