import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import path from 'node:path';
import { test } from 'node:test';
import { Host, kStatus } from './support/host.mjs';
import { nextEvent } from './support/observations.mjs';
import { blockColour, blockMiddles } from './support/pattern.mjs';
import { openVisit } from './support/scene.mjs';

test('a visit outlives the server, and the server finds it again', async (t) => {
  const { desktop, host, phone, server } = await openVisit(t);
  await server.kill();
  await host.status(kStatus.reconnecting);

  await desktop.probe('pattern', 3);
  await phone.showsColours(blockMiddles(desktop.size).map(
    ({ x, y, column, row }) => ({ x, y, colour: blockColour(column, row, 3) })));
  const probe = await desktop.probe('observe');
  await phone.mouse.click(200, 100);
  await nextEvent(probe, { event: 'release', button: 1, x: 200, y: 100 });

  await server.start();
  // Only a registered host is given a PIN.
  await host.pin();
  await phone.mouse.click(210, 100);
  await nextEvent(probe, { event: 'release', button: 1, x: 210 });
  assert.equal((await phone.state()).phase, 'live');

  const since = host.mark();
  await phone.leave();
  await host.status(kStatus.waiting, { since });
});

test('a phone that was resumed hears the person at the computer through the new server', async (t) => {
  const { host, phone, server } = await openVisit(t);
  await server.kill();
  await host.status(kStatus.reconnecting);
  await server.start();
  await server.log.next(/resumed/);
  host.disconnectViewer();
  await phone.phase('notice', 'ended');
});

test('a host that crashes is waited for, and joined when it is back', async (t) => {
  const { desktop, host, phone } = await openVisit(t);
  await host.kill();
  await phone.heard.next(/"host-gone"/);
  await host.resume();
  await phone.page.waitForFunction(() => globalThis.tovalin.state.phase === 'notice');
  await host.status(kStatus.connected);
  await phone.live();
  await desktop.probe('pattern', 4);
  await phone.showsColours(blockMiddles(desktop.size).map(
    ({ x, y, column, row }) => ({ x, y, colour: blockColour(column, row, 4) })));
});

test('a second host with the same identity takes over, and the first stays off', async (t) => {
  const scene = await openVisit(t);
  const { desktop, folder, host, phone, server } = scene;
  await phone.leave();

  const second = scene.keep(new Host(desktop, path.join(folder, 'second')));
  await fs.mkdir(path.dirname(second.settingsFile), { recursive: true });
  await fs.copyFile(host.settingsFile, second.settingsFile);
  const since = host.mark();
  await second.start(server.hostAddress);
  await host.status(kStatus.takenOver, { since });

  const evicted = host.mark();
  await phone.open(server.pageAddress);
  await phone.live();
  await second.status(kStatus.connected);
  assert.equal(host.out.count(/^Status: /, evicted), 0, 'the first host came back');
});
