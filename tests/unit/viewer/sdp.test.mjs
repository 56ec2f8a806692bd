import assert from 'node:assert/strict';
import { test } from 'node:test';
import { letHostBeginHandshake, raiseBitrateCeiling } from '../../../companion/viewer/sdp.js';

const sdp = (...lines) => [...lines, ''].join('\r\n');
const kRates = 'x-google-max-bitrate=30000;x-google-start-bitrate=6000';

test('VP8 without parameters gets a line of its own behind its rtpmap', () => {
  const answer = sdp('v=0', 'm=video 9 UDP/TLS/RTP/SAVPF 96 97', 'a=rtpmap:96 VP8/90000',
    'a=rtcp-fb:96 nack', 'a=rtpmap:97 rtx/90000', 'a=fmtp:97 apt=96');
  assert.equal(raiseBitrateCeiling(answer), sdp('v=0', 'm=video 9 UDP/TLS/RTP/SAVPF 96 97',
    'a=rtpmap:96 VP8/90000', `a=fmtp:96 ${kRates}`, 'a=rtcp-fb:96 nack',
    'a=rtpmap:97 rtx/90000', 'a=fmtp:97 apt=96'));
});

test('parameters VP8 already has are kept', () => {
  const answer = sdp('a=rtpmap:100 VP8/90000', 'a=fmtp:100 max-fr=30');
  assert.equal(raiseBitrateCeiling(answer),
    sdp('a=rtpmap:100 VP8/90000', `a=fmtp:100 max-fr=30;${kRates}`));
});

test('a lower bandwidth line is lifted, a higher one kept', () => {
  const answer = (rate) => sdp('m=video 9 x 96', `b=AS:${rate}`, 'a=rtpmap:96 VP8/90000',
    `a=fmtp:96 ${kRates}`);
  const raised = (rate) => raiseBitrateCeiling(answer(rate)).split('\r\n')[1];
  assert.equal(raised(2500), 'b=AS:30000');
  assert.equal(raised(50000), 'b=AS:50000');
});

test('an answer without VP8 is left as it is', () => {
  const answer = sdp('v=0', 'b=AS:100', 'a=rtpmap:98 VP9/90000', 'a=fmtp:98 profile-id=0');
  assert.equal(raiseBitrateCeiling(answer), answer);
});

test('the host begins the handshake of every section', () => {
  const answer = (role) => sdp('m=video 9 x 96', `a=setup:${role}`, 'a=mid:0', 'm=application 9 x y',
    `a=setup:${role}`, 'a=mid:1');
  assert.equal(letHostBeginHandshake(answer('active')), answer('passive'));
  assert.equal(letHostBeginHandshake(answer('passive')), answer('passive'));
});

test('nothing but the role in the handshake is changed', () => {
  const answer = sdp('a=setup:activeness', 's=a=setup:active', 'a=mid:active');
  assert.equal(letHostBeginHandshake(answer), answer);
});
