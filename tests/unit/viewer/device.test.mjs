import assert from 'node:assert/strict';
import { test } from 'node:test';
import { defaultDeviceName } from '../../../companion/viewer/device_name.js';
import { DeviceStore } from '../../../companion/viewer/device_store.js';
import { noticeFor, pairingTrouble } from '../../../companion/viewer/notices.js';
import { parsePairLink } from '../../../companion/viewer/pair_link.js';

const kDevice = { hostId: 'h', hostName: 'Study', deviceId: 'd', deviceKey: 'k' };

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

for (const [fragment, expected] of [
  ['#host=h1&token=t1', { host: 'h1', token: 't1', name: '' }],
  ['#host=h1&token=t1&name=My%20PC', { host: 'h1', token: 't1', name: 'My PC' }],
  ['#host=h1', null],
  ['#host=&token=t1', null],
  ['', null],
]) {
  test(`the fragment "${fragment}" is ${expected ? 'a pairing link' : 'none'}`, () => {
    assert.deepEqual(parsePairLink(fragment), expected);
  });
}

function storage(text = null) {
  return {
    text,
    getItem() { return this.text; },
    setItem(key, value) { this.text = value; },
    removeItem() { this.text = null; },
  };
}

test('a device is remembered across page loads and forgotten on request', () => {
  const kept = storage();
  new DeviceStore(() => kept).remember({ ...kDevice, type: 'paired' });
  const reloaded = new DeviceStore(() => kept);
  assert.deepEqual(reloaded.device, kDevice);
  reloaded.forget();
  assert.equal(reloaded.device, null);
  assert.equal(new DeviceStore(() => kept).device, null);
});

for (const text of ['not json', 'null', '[]', '{"hostId":"h"}', '{"hostId":1,"hostName":"","deviceId":"","deviceKey":""}']) {
  test(`a stored ${text} counts as not paired`, () => {
    assert.equal(new DeviceStore(() => storage(text)).device, null);
  });
}

test('where the browser forbids storage the pairing lasts as long as the page', () => {
  const store = new DeviceStore(() => {
    throw new Error('forbidden');
  });
  assert.equal(store.device, null);
  store.remember(kDevice);
  assert.deepEqual(store.device, kDevice);
  store.forget();
  assert.equal(store.device, null);
});

test('notices name the computer where its name is known', () => {
  assert.equal(noticeFor('host-offline').title, 'The computer is offline');
  assert.equal(noticeFor('host-offline', 'Study').title, 'Study is offline');
  assert.equal(noticeFor('ended', 'Study').title, 'Disconnected at Study');
});

test('a trouble nobody foresaw still has words', () => {
  assert.match(pairingTrouble('server-error'), /did not work/);
});
