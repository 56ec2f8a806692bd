import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { Desktop } from './support/desktop.mjs';
import { Host, kStatus } from './support/host.mjs';
import { Network } from './support/network.mjs';
import { Phone } from './support/phone.mjs';
import { Relay } from './support/relay.mjs';
import { SignalServer } from './support/signal_server.mjs';

const kLook = { viewport: { width: 390, height: 844 }, touch: true };
const kSleepMs = 120000; // the server drops who was silent for 40 s, and a visit 5 s later

/** The phone, the server and the computer, each on a machine of its own. Ended with the test. */
async function openNetwork(t, { direct = true, relayed = false } = {}) {
  const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-e2e-'));
  const parts = [];
  const keep = (part) => (parts.push(part), part);
  t.after(async () => {
    for (const part of parts.reverse()) await part.stop();
    await fs.rm(folder, { recursive: true, force: true });
  });

  const network = keep(await Network.start({ direct }));
  const address = network.serverAddress;
  const within = network.at('middle');
  const options = [];
  if (relayed) {
    const relay = keep(new Relay(path.join(folder, 'relay'), address));
    await relay.start(within);
    options.push('--turn', relay.url, '--turn-secret-file', relay.secretFile);
  }
  const desktop = keep(await Desktop.start({ size: '1280x720' }));
  await fs.mkdir(path.join(folder, 'server'));
  const server = keep(new SignalServer(path.join(folder, 'server'), { address, within, options }));
  await server.start();
  const host = keep(new Host(desktop, path.join(folder, 'host'), {}, network.at('host')));
  await host.start(server.hostAddress);
  await host.status(kStatus.waiting);
  const browser = await network.scriptAt('phone', folder, '/usr/bin/chromium');
  const phone = keep(await Phone.start({ ...kLook, browser }));
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  return { desktop, host, network, phone, server };
}

async function openVisit(t, options) {
  const scene = await openNetwork(t, options);
  await scene.phone.live();
  await scene.host.status(kStatus.connected);
  scene.host.closePairingWindow();
  await scene.phone.pictureIs(scene.desktop.size);
  return scene;
}

const lastPicture = (phone) => phone.page.locator('#last-picture');

/** The picture is there and moves, and nothing lies over it. */
async function seesAgain(phone) {
  await phone.live();
  await phone.nextFrames(2);
  await lastPicture(phone).waitFor({ state: 'hidden' });
}

for (const place of ['phone', 'host']) {
  test(`the ${place}’s cable is pulled: the last picture stays, and it goes on by itself`, async (t) => {
    const { network, phone } = await openVisit(t);
    await network.cut(place);
    await phone.page.waitForFunction(() => globalThis.tovalin.state.phase === 'notice');
    assert.equal(await lastPicture(phone).isVisible(), true);
    await network.mend(place);
    await seesAgain(phone);
  });
}

test('server and network go together, and everything comes back by itself', async (t) => {
  const { host, network, phone, server } = await openVisit(t);
  const since = host.mark();
  await server.kill();
  await network.cut('phone');
  await phone.page.waitForFunction(() => globalThis.tovalin.state.phase === 'notice');
  await network.mend('phone');
  await server.start();
  await seesAgain(phone);
  await host.status(kStatus.connected, { since });
});

test('a phone that slept until the computer had given it up finds back by itself', async (t) => {
  const { host, network, phone } = await openVisit(t);
  const since = host.mark();
  const pids = await network.pidsAt('phone');
  for (const pid of pids) process.kill(pid, 'SIGSTOP');
  await host.status(kStatus.waiting, { since, within: kSleepMs });
  for (const pid of pids) process.kill(pid, 'SIGCONT');
  await host.status(kStatus.connected, { since });
  await seesAgain(phone);
});

test('a network that lets no picture through is said to be the reason', async (t) => {
  const { network, phone } = await openNetwork(t, { direct: false });
  await phone.phase('notice', 'blocked');
  await network.letThrough(true);
  await phone.page.click('#notice-action');
  await seesAgain(phone);
});

test('where there is no direct way the relay carries the visit', async (t) => {
  const { phone } = await openVisit(t, { direct: false, relayed: true });
  await phone.page.click('#bar-toggle');
  await phone.page.click('#show-figures');
  await phone.page.locator('#figures', { hasText: 'Relayed' }).waitFor();
  await seesAgain(phone);
});
