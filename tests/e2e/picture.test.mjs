import assert from 'node:assert/strict';
import { test } from 'node:test';
import { blockColour, blockMiddles } from './support/pattern.mjs';
import { openScene, openVisit } from './support/scene.mjs';
import { kStatus } from './support/host.mjs';

const coloursOf = (size, seed) =>
  blockMiddles(size).map(({ x, y, column, row }) => ({ x, y, colour: blockColour(column, row, seed) }));

for (const size of ['1280x720', '1920x1080']) {
  test(`the picture of a ${size} desktop is the desktop's, block for block`, async (t) => {
    const { desktop, phone } = await openVisit(t, { size });
    await desktop.probe('pattern', 0);
    await phone.showsColours(coloursOf(desktop.size, 0));
    await desktop.probe('pattern', 1);
    await phone.showsColours(coloursOf(desktop.size, 1));
  });
}

test('a phone pairs by PIN, and the PIN works once', async (t) => {
  const { host, phone, server } = await openScene(t);
  await phone.open(server.pageAddress);
  const pin = await host.pin();
  await phone.pair(pin === '000000' ? '000001' : '000000');
  await phone.phase('pairing');
  await phone.page.waitForFunction(() => globalThis.tovalin.state.trouble === 'wrong-pin');
  await phone.pair(pin);
  await phone.live();
  await host.status(kStatus.connecting);
  await host.status(kStatus.connected);

  await phone.page.evaluate(() => localStorage.clear());
  await phone.page.reload();
  await phone.pair(pin);
  await phone.page.waitForFunction(() => globalThis.tovalin.state.trouble === 'wrong-pin');
});

test('a static screen still yields frames', async (t) => {
  const { desktop, phone } = await openVisit(t);
  await desktop.probe('pattern', 0);
  await phone.showsColours(coloursOf(desktop.size, 0));
  await phone.nextFrames(5);
});

test('what moves on the desktop moves in the picture', async (t) => {
  const { desktop, phone } = await openVisit(t);
  await desktop.probe('animate');
  const before = await phone.stats();
  await phone.nextFrames(60);
  const after = await phone.stats();
  assert.ok(after.framesDecoded >= before.framesDecoded + 60);
});

test('the first frame is reported once a visit', async (t) => {
  const { phone, server, host } = await openVisit(t);
  const kFirstFrame = /first-frame-pushed/;
  await server.log.next(kFirstFrame);
  await phone.nextFrames(5);
  assert.equal(server.log.count(kFirstFrame), 1);

  const since = server.log.mark();
  const said = host.mark();
  await phone.page.reload();
  await phone.live();
  await host.status(kStatus.connected, { since: said });
  await server.log.next(kFirstFrame, { since });
  await phone.nextFrames(5);
  assert.equal(server.log.count(kFirstFrame), 2);
});
