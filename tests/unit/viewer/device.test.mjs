import assert from 'node:assert/strict';
import { test } from 'node:test';
import { defaultDeviceName } from '../../../companion/viewer/device_name.js';
import { lockedOutWords, noticeFor, pairingTrouble, presenceWords } from '../../../companion/viewer/notices.js';
import { parsePairLink } from '../../../companion/viewer/pair_link.js';

for (const [agent, touches, name] of [
  ['Mozilla/5.0 (iPhone; CPU iPhone OS 18_0 like Mac OS X) AppleWebKit/605.1.15 Version/18.0 Mobile/15E148 Safari/604.1', 5, 'iPhone, Safari'],
  ['Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 Version/18.0 Safari/605.1.15', 5, 'iPad, Safari'],
  ['Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 Version/18.0 Safari/605.1.15', 0, 'Mac, Safari'],
  ['Mozilla/5.0 (Linux; Android 10; K) AppleWebKit/537.36 Chrome/131.0.0.0 Mobile Safari/537.36', 5, 'Android phone, Chrome'],
  ['Mozilla/5.0 (Linux; Android 10; K) AppleWebKit/537.36 Chrome/131.0.0.0 Safari/537.36', 5, 'Android tablet, Chrome'],
  ['Mozilla/5.0 (X11; Linux x86_64; rv:130.0) Gecko/20100101 Firefox/130.0', 0, 'Linux PC, Firefox'],
  ['Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 Chrome/131.0.0.0 Safari/537.36 Edg/131.0.0.0', 0, 'Windows PC, Edge'],
  ['something else', 0, 'Browser'],
]) {
  test(`a device calls itself ${name}`, () => {
    assert.equal(defaultDeviceName(agent, touches), name);
  });
}

for (const text of [
  'tovalin://pair?host=h1&token=t1&name=My%20PC',
  '  TOVALIN://pair/?host=h1&token=t1&name=My+PC\n',
  'https://example.org/deep/#host=h1&token=t1&name=My%20PC',
  '#host=h1&token=t1&name=My%20PC',
]) {
  test(`"${text.trim()}" is a pairing link`, () => {
    assert.deepEqual(parsePairLink(text), { host: 'h1', token: 't1', name: 'My PC' });
  });
}

for (const text of [
  '', '#', '#host=h1', '#host=&token=t1', '402715', 'host=h1&token=t1', 'tovalin://pair?host=h1',
  'https://example.org/?host=h1&token=t1', 'tovalin://join?host=h1&token=t1',
]) {
  test(`"${text}" is no pairing link`, () => {
    assert.equal(parsePairLink(text), null);
  });
}

test('a link without a name has an empty one', () => {
  assert.equal(parsePairLink('#host=h1&token=t1').name, '');
});

test('notices name the computer where its name is known', () => {
  assert.equal(noticeFor('host-offline').title, 'The computer is offline');
  assert.equal(noticeFor('host-offline', 'Study').title, 'Study is offline');
  assert.equal(noticeFor('ended', 'Study').title, 'Disconnected at Study');
});

test('a trouble nobody foresaw still has words', () => {
  assert.match(pairingTrouble('server-error'), /did not work/);
});

test('the wait of a lock-out is counted in words', () => {
  assert.match(lockedOutWords(42), /in 42 seconds\.$/);
  assert.match(lockedOutWords(1), /in 1 second\.$/);
});

test('a state of a computer has words, an unknown one has none', () => {
  assert.equal(presenceWords('busy'), 'In use by another device');
  assert.equal(presenceWords(''), '');
});
