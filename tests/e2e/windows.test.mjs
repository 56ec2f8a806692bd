import assert from 'node:assert/strict';
import { test } from 'node:test';
import { openScene, openVisit } from './support/scene.mjs';
import { kStatus } from './support/host.mjs';

/** Where the indicator's button is in the page's picture; null while it is not. */
const redButton = (phone) => phone.page.evaluate(() => {
  const video = document.getElementById('picture');
  const canvas = document.createElement('canvas');
  canvas.width = video.videoWidth;
  canvas.height = 60;
  const context = canvas.getContext('2d', { willReadFrequently: true });
  context.drawImage(video, 0, 0);
  const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
  let box = null;
  const isRed = (x, y) => {
    const at = 4 * (y * canvas.width + x);
    return data[at] > 150 && data[at + 1] < 110 && data[at + 2] < 110;
  };
  for (let y = 0; y < canvas.height; ++y) {
    // Wider than the red dot before the text.
    for (let x = 0; x + 12 < canvas.width; ++x) {
      if (!isRed(x, y) || !isRed(x + 12, y)) continue;
      box ??= { left: x, top: y, right: x, bottom: y };
      box.left = Math.min(box.left, x);
      box.right = Math.max(box.right, x + 12);
      box.bottom = y;
    }
  }
  return box;
});

async function waitForButton(phone) {
  for (;;) {
    const box = await redButton(phone);
    if (box) return box;
    await phone.nextFrames(1);
  }
}

test('a host that was never paired opens its window, and a phone pairs by the code in it', async (t) => {
  const { desktop, host, phone, server } = await openScene(t, { paired: false });
  const code = new URL(await desktop.code());
  assert.equal(code.protocol, 'tovalin:');
  assert.equal(code.host, 'pair');
  assert.deepEqual([...code.searchParams.keys()], ['host', 'token', 'name']);

  await phone.open(server.pageAddress);
  const heard = await phone.page.evaluate((wish) => new Promise((resolve, reject) => {
    const socket = new WebSocket(`ws://${location.host}/viewer`);
    socket.onopen = () => socket.send(JSON.stringify(wish));
    socket.onmessage = ({ data }) => resolve(JSON.parse(data));
    socket.onerror = reject;
  }), {
    type: 'pair',
    host: code.searchParams.get('host'),
    token: code.searchParams.get('token'),
    deviceName: 'Ada’s phone',
  });
  assert.equal(heard.type, 'paired');
  await host.out.next(/^Ada’s phone is connected$/);
});

test('a host that the desktop started shows its PIN and writes it nowhere', async (t) => {
  const { desktop, host } = await openScene(t, { paired: false, attended: false });
  // The code comes with the PIN.
  await desktop.code();
  assert.deepEqual(host.out.lines, []);
  assert.ok(!host.err.lines.some((line) => /\d{6}/.test(line)), host.err.lines.join('\n'));
});

test('starting the program again brings up the panel of the one that runs', async (t) => {
  const { desktop, host } = await openScene(t);
  await host.status(kStatus.waiting);
  const { code } = await host.startAgain();
  assert.equal(code, 0);
  await desktop.windowNamed('Tovalin Host');
});

test('the viewer itself can press Disconnect in the indicator', async (t) => {
  const { host, phone } = await openVisit(t);
  const { left, top, right, bottom } = await waitForButton(phone);
  const since = host.mark();
  await phone.mouse.click((left + right) / 2, (top + bottom) / 2);
  await phone.phase('notice', 'ended');
  await host.status(kStatus.waiting, { since });
});
