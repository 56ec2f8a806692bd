import assert from 'node:assert/strict';
import path from 'node:path';
import { test } from 'node:test';
import { Host, kStatus } from './support/host.mjs';
import { openScene, openVisit } from './support/scene.mjs';

const kPhone = { viewport: { width: 390, height: 844 }, touch: true, scale: 3 };

const wordsOf = (phone, name) => phone.page.locator('.computer', { hasText: name }).innerText();

/** Waits until the list says this of the computer of that name. */
async function stateIs(phone, name, words) {
  await phone.page.locator('.computer', { hasText: name })
    .locator('.computer-state', { hasText: new RegExp(`^${words}$`) }).waitFor();
}

async function goHome(phone) {
  await phone.page.click('#bar-toggle');
  await phone.page.click('#desk-home');
  await phone.phase('home');
}

async function rename(phone, name, alias) {
  await phone.page.locator('.computer', { hasText: name }).locator('.computer-more').click();
  await phone.page.fill('#alias', alias);
  await phone.page.press('#alias', 'Enter');
  await phone.page.locator('.computer-name', { hasText: alias }).waitFor();
}

async function wrongPin(phone, right) {
  const wrong = String((Number(right) + 1) % 1000000).padStart(6, '0');
  await phone.pair(wrong);
}

test('two computers in one list: who is there, names of one’s own, switching, forgetting', async (t) => {
  const scene = await openVisit(t, kPhone);
  const { desktop, folder, host, phone, server } = scene;
  const since = host.mark();
  await goHome(phone);
  await host.status(kStatus.waiting, { since });
  const name = await phone.page.innerText('.computer-name');
  await stateIs(phone, name, 'Online');
  assert.match(await wordsOf(phone, name), /Used today/);
  await rename(phone, name, 'Study');

  const attic = scene.keep(new Host(desktop, path.join(folder, 'attic')));
  await attic.start(server.hostAddress);
  await attic.status(kStatus.waiting);
  await phone.page.click('#add-computer');
  await phone.pair(await attic.pin());
  await phone.live();
  await attic.status(kStatus.connected);
  attic.closePairingWindow();

  await goHome(phone);
  await rename(phone, name, 'Attic');
  assert.deepEqual(await phone.page.locator('.computer-name').allInnerTexts(), ['Attic', 'Study']);
  await attic.kill();
  await stateIs(phone, 'Attic', 'Offline');
  await stateIs(phone, 'Study', 'Online');

  const back = host.mark();
  await phone.page.locator('.computer-open', { hasText: 'Study' }).click();
  await phone.live();
  await host.status(kStatus.connected, { since: back });
  assert.equal(await phone.page.title(), 'Study');
  await phone.nextFrames(2);

  // Both are still there after a reload; the one used last comes first.
  await phone.page.reload();
  await phone.phase('home');
  assert.deepEqual(await phone.page.locator('.computer-name').allInnerTexts(), ['Study', 'Attic']);

  await phone.page.locator('.computer', { hasText: 'Study' }).locator('.computer-more').click();
  await phone.page.click('#forget-ask');
  await phone.page.click('#forget');
  await phone.heard.next(/"forgotten"/);
  assert.deepEqual(await phone.page.locator('.computer-name').allInnerTexts(), ['Attic']);
  // The server has forgotten it, too.
  await phone.page.reload();
  await phone.phase('notice', 'host-offline');
});

test('a computer that is alone in the list opens by itself', async (t) => {
  const { host, phone, server } = await openVisit(t, kPhone);
  await phone.leave();
  const since = host.mark();
  await phone.open(server.pageAddress);
  await phone.live();
  await host.status(kStatus.connected, { since });
});

test('the link of the code on the screen pairs when it is pasted', async (t) => {
  const { desktop, host, phone, server } = await openScene(t, { ...kPhone, paired: false });
  const link = await desktop.code();
  await phone.open(server.pageAddress);
  await phone.page.click('#use-link');
  await phone.page.fill('#link', 'https://example.org/');
  await phone.page.press('#link', 'Enter');
  await phone.page.locator('#link-trouble', { hasText: 'not a pairing link' }).waitFor();
  await phone.page.fill('#link', ` ${link}\n`);
  await phone.live();
  await host.status(kStatus.connected);
});

test('the PIN’s own field takes a pasted PIN with its space, and a link', async (t) => {
  const { host, phone, server } = await openScene(t, kPhone);
  const paste = (text) => phone.page.evaluate((words) => {
    const data = new DataTransfer();
    data.setData('text/plain', words);
    const event = new ClipboardEvent('paste', { clipboardData: data, bubbles: true, cancelable: true });
    document.getElementById('pin').dispatchEvent(event);
  }, text);
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  await paste('tovalin://pair?host=nobody&token=nothing');
  await phone.page.locator('#pairing-trouble', { hasText: 'used or has expired' }).waitFor();
  const pin = await host.pin();
  await paste(`PIN: ${pin.slice(0, 3)} ${pin.slice(3)}`);
  await phone.live();
});

test('wrong PINs are said, and after five the wait is counted down', async (t) => {
  const { host, phone, server } = await openScene(t, kPhone);
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  const right = await host.pin();
  const trouble = phone.page.locator('#pairing-trouble');
  let since = 0;
  for (let round = 0; round < 5; round += 1) {
    await wrongPin(phone, right);
    since = (await phone.heard.next(/"pair-failed".*"wrong-pin"|"wrong-pin".*"pair-failed"/, { since })).mark;
    await trouble.filter({ hasText: 'not right' }).waitFor();
  }
  await wrongPin(phone, right);
  await trouble.filter({ hasText: /try again in \d+ seconds/ }).waitFor();
  const left = async () => Number(/in (\d+) second/.exec(await trouble.innerText())[1]);
  const first = await left();
  await phone.page.waitForFunction(
    (seconds) => {
      const words = document.getElementById('pairing-trouble').textContent;
      return Number(/in (\d+) second/.exec(words)?.[1]) < seconds;
    },
    first);
  assert.equal(await phone.page.isDisabled('#pair'), true);
});

test('the visit’s figures are shown on demand', async (t) => {
  const { desktop, phone } = await openVisit(t, kPhone);
  const figures = phone.page.locator('#figures');
  assert.equal(await figures.isVisible(), false);
  await phone.page.click('#bar-toggle');
  await phone.page.click('#show-figures');
  const { width, height } = desktop.size;
  await figures.filter({ hasText: `${width} × ${height}` }).filter({ hasText: 'VP8' })
    .filter({ hasText: 'Direct' }).filter({ hasText: /\d a second/ }).filter({ hasText: /Mbit/ })
    .waitFor();
  await phone.page.click('#bar-toggle');
  await phone.page.click('#show-figures');
  await figures.waitFor({ state: 'hidden' });
});

test('a whole visit asks nobody but the page’s own server for anything', async (t) => {
  const { phone, server } = await openVisit(t, kPhone);
  await goHome(phone);
  await phone.page.reload();
  await phone.live();
  const { host } = new URL(server.pageAddress);
  assert.ok(phone.asked.some((address) => address.startsWith('ws:')), 'the socket was not seen');
  const strange = phone.asked.filter(
    (address) => !address.startsWith('data:') && new URL(address).host !== host);
  assert.deepEqual(strange, []);
});

test('the page can be installed: its manifest and every icon are what they say', async (t) => {
  const { phone, server } = await openScene(t, kPhone);
  await phone.open(server.pageAddress);
  const icons = await phone.page.evaluate(async () => {
    const answer = await fetch(document.querySelector('link[rel=manifest]').href);
    const manifest = await answer.json();
    const apple = document.querySelector('link[rel=apple-touch-icon]').href;
    const listed = [...manifest.icons, { src: apple, sizes: '180x180', type: 'image/png' }];
    const seen = await Promise.all(listed.map(async ({ src, sizes, type, purpose = 'any' }) => {
      const image = new Image();
      image.src = new URL(src, answer.url);
      await image.decode();
      const served = (await fetch(image.src)).headers.get('content-type');
      const size = sizes === 'any' ? sizes : `${image.naturalWidth}x${image.naturalHeight}`;
      return { isRight: served === type && size === sizes, size, purpose };
    }));
    const { display, start_url: start } = manifest;
    return { kind: answer.headers.get('content-type'), display, start, seen };
  });
  assert.equal(icons.kind, 'application/manifest+json');
  assert.deepEqual([icons.display, icons.start], ['standalone', './']);
  assert.ok(icons.seen.every(({ isRight }) => isRight), JSON.stringify(icons.seen));
  for (const wanted of ['192x192 any', '512x512 any', '512x512 maskable']) {
    assert.ok(icons.seen.some(({ size, purpose }) => `${size} ${purpose}` === wanted), wanted);
  }
});

test('a page of which a part was lost on the way loads again by itself', async (t) => {
  const { phone, server } = await openScene(t, kPhone);
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  await phone.page.route('**/visit.js', (route) => route.abort('connectionreset'), { times: 1 });
  await phone.page.reload();
  await phone.page.waitForSelector('#incomplete:visible');
  await phone.page.waitForSelector('#pin:visible');
  assert.equal(await phone.page.isVisible('#incomplete'), false);
});

/** What a finger or a screen reader would miss on the screen that is shown, in words. */
const shortcomings = (phone) => phone.page.evaluate((least) => {
  const seen = [...document.querySelectorAll('button, input:not(.pin)')]
    .filter((part) => part.checkVisibility() && part.tabIndex >= 0);
  const nameOf = (part) =>
    part.getAttribute('aria-label') || part.labels?.[0]?.textContent || part.textContent.trim();
  return seen.flatMap((part) => {
    const { width, height } = part.getBoundingClientRect();
    const what = part.id || part.className;
    return [
      ...(width < least || height < least ? [`${what} is ${width} × ${height}`] : []),
      ...(nameOf(part) ? [] : [`${what} has no name`]),
    ];
  }).concat(seen.length > 0 ? [] : ['nothing to press']);
}, 44);

test('everything that can be pressed is large enough for a finger and has a name', async (t) => {
  const { phone, host, server } = await openScene(t, kPhone);
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  await phone.page.click('#use-link');
  assert.deepEqual(await shortcomings(phone), [], 'pairing');
  await phone.pair(await host.pin());
  await phone.live();
  await phone.page.click('#bar-toggle');
  assert.deepEqual(await shortcomings(phone), [], 'visit');
  await phone.page.click('#leave');
  await phone.phase('notice', 'left');
  assert.deepEqual(await shortcomings(phone), [], 'notice');
  await phone.page.click('#notice-home');
  await phone.phase('home');
  assert.deepEqual(await shortcomings(phone), [], 'list');
  await phone.page.click('.computer-more');
  assert.deepEqual(await shortcomings(phone), [], 'renaming');
  await phone.page.click('#forget-ask');
  assert.deepEqual(await shortcomings(phone), [], 'forgetting');
});

test('the phone’s screen stays on during a visit, and may go dark after it', async (t) => {
  const { host, phone, server } = await openScene(t, kPhone);
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  await phone.page.evaluate(() => {
    globalThis.heldLocks = 0;
    const request = WakeLock.prototype.request;
    WakeLock.prototype.request = async function watched(kind) {
      const lock = await request.call(this, kind);
      globalThis.heldLocks += 1;
      lock.addEventListener('release', () => (globalThis.heldLocks -= 1));
      return lock;
    };
  });
  const held = (count) =>
    phone.page.waitForFunction((wanted) => globalThis.heldLocks === wanted, count);
  await phone.pair(await host.pin());
  await phone.live();
  await held(1);
  await phone.page.click('#bar-toggle');
  await phone.page.click('#leave');
  await held(0);
});

test('the code on the screen pairs when the camera sees it, and the camera goes off', async (t) => {
  const { desktop, host, phone, server } = await openScene(t, { ...kPhone, paired: false });
  const link = await desktop.code();
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  assert.equal(await phone.page.isVisible('#scan'), false, 'this browser cannot read codes');
  // A camera and a reader of codes that this browser does not have.
  await phone.page.addInitScript(() => {
    globalThis.inSight = [];
    globalThis.BarcodeDetector = class {
      static getSupportedFormats = async () => ['qr_code'];
      detect = async () => globalThis.inSight.map((rawValue) => ({ rawValue }));
    };
    const canvas = document.createElement('canvas');
    const pen = canvas.getContext('2d');
    setInterval(() => pen.fillRect(0, 0, 1, 1), 50); // a canvas that is still sends no frames
    navigator.mediaDevices.getUserMedia = async () => (globalThis.camera = canvas.captureStream(5));
  });
  await phone.page.reload();
  const cameraIs = (state) => phone.page.waitForFunction(
    (wanted) => globalThis.camera?.getTracks()[0].readyState === wanted, state);

  await phone.page.click('#scan');
  await cameraIs('live');
  await phone.page.click('#scanner-cancel');
  await cameraIs('ended');

  await phone.page.click('#scan');
  await phone.page.evaluate(() => (globalThis.inSight = ['https://example.org/']));
  await phone.page.locator('#scanner-words', { hasText: 'another code' }).waitFor();
  await phone.page.evaluate((code) => (globalThis.inSight = [code]), link);
  await phone.live();
  await cameraIs('ended');
  await host.status(kStatus.connected);
});
