import assert from 'node:assert/strict';
import { test } from 'node:test';
import { kStatus } from './support/host.mjs';
import { nextEvent } from './support/observations.mjs';
import { openVisit } from './support/scene.mjs';

test('a phone that leaves is let go, and comes back without pairing again', async (t) => {
  const { host, phone, server } = await openVisit(t);
  const since = host.mark();
  await phone.leave();
  await host.status(kStatus.waiting, { since });
  await phone.open(server.pageAddress);
  await phone.live();
  await host.status(kStatus.connected, { since });
  await phone.nextFrames(3);
});

test('a reload of the page is a new visit', async (t) => {
  const { host, phone } = await openVisit(t);
  const since = host.mark();
  await phone.page.reload();
  await phone.live();
  await host.status(kStatus.connected, { since });
  await phone.nextFrames(3);
});

test('the phone can end the visit itself', async (t) => {
  const { host, phone } = await openVisit(t);
  const since = host.mark();
  await phone.page.click('#bar-toggle');
  await phone.page.click('#leave');
  await phone.phase('notice', 'left');
  await host.status(kStatus.waiting, { since });
  await phone.page.click('#notice-action');
  await phone.live();
  await host.status(kStatus.connected, { since });
});

test('the person at the computer ends the visit, and the phone says so and stays away', async (t) => {
  const { host, phone } = await openVisit(t);
  const since = host.mark();
  host.disconnectViewer();
  await phone.phase('notice', 'ended');
  await host.status(kStatus.waiting, { since });
  // A PIN goes to the server and back: time enough for a phone that meant to return.
  await host.pin();
  assert.equal(host.out.count(/^Status: Viewer connecting…$/, since), 0);
  assert.equal((await phone.state()).notice, 'ended');
});

test('what the phone held is let go when it vanishes in mid-drag', async (t) => {
  const { desktop, host, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.move(300, 300);
  await phone.mouse.down();
  await phone.mouse.move(500, 300, { steps: 5 });
  await phone.keyboard.down('Shift');
  await phone.keyboard.down('ArrowRight');
  await nextEvent(probe, { event: 'key-press', keysym: 'Right' });
  const since = probe.out.mark();
  const said = host.mark();
  await phone.vanish();
  await host.status(kStatus.waiting, { since: said });
  await Promise.all([
    nextEvent(probe, { event: 'release', button: 1 }, { since }),
    nextEvent(probe, { event: 'key-release', keysym: 'Right' }, { since }),
    nextEvent(probe, { event: 'key-release', keysym: 'Shift_L' }, { since }),
  ]);
});
