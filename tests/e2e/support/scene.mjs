import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { Desktop } from './desktop.mjs';
import { Host, kStatus } from './host.mjs';
import { Phone } from './phone.mjs';
import { SignalServer } from './signal_server.mjs';

/**
 * Everything a visit needs, ended with the test `t` whether it passes or fails. Each part is
 * started in turn, so that a failure names the one that is missing. `viewport`, `touch` and `scale`
 * are the phone's; without them it is a browser with a mouse, as large as the desktop.
 */
export async function openScene(
  t, { size = '1280x720', viewport, touch, scale, paired = true, attended = true } = {}) {
  const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-e2e-'));
  const parts = [];
  const scene = {
    folder,
    /** Ends with the test, before everything that was there earlier. */
    keep(part) {
      parts.push(part);
      return part;
    },
  };
  t.after(async () => {
    const stopped = [];
    for (const part of parts.reverse()) {
      // One that cannot be stopped must not keep the others running.
      stopped.push(await Promise.allSettled([part.stop()]));
    }
    await fs.rm(folder, { recursive: true, force: true });
    const troubles = stopped.flat().filter(({ status }) => status === 'rejected');
    assert.deepEqual(troubles.map(({ reason }) => reason), []);
    assert.deepEqual(scene.phone?.complaints ?? [], [], 'the page had something to complain about');
  });

  scene.desktop = scene.keep(await Desktop.start({ size }));
  scene.server = scene.keep(new SignalServer(path.join(folder, 'server')));
  await fs.mkdir(path.join(folder, 'server'));
  await scene.server.start();
  scene.host = scene.keep(new Host(scene.desktop, path.join(folder, 'host')));
  await scene.host.start(scene.server.hostAddress, { paired, attended });
  scene.phone = scene.keep(await Phone.start({ viewport: viewport ?? scene.desktop.size, touch, scale }));
  return scene;
}

/** A scene in which the phone has paired and sees the desktop. */
export async function openVisit(t, options) {
  const scene = await openScene(t, options);
  const { desktop, host, phone, server } = scene;
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  await phone.live();
  await host.status(kStatus.connected);
  host.closePairingWindow();
  await phone.pictureIs(desktop.size);
  return scene;
}
