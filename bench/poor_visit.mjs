import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { Network } from '../tests/e2e/support/network.mjs';
import { Phone } from '../tests/e2e/support/phone.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';
import { prepareFirstPictures } from './first_picture.mjs';
import { PoorLink } from './poor_link.mjs';

const kBrowser = '/usr/bin/chromium';

/**
 * A visit whose picture and input go through a PoorLink, and nothing else does: the server is reached
 * over good cables. Each part is in `parts`, to be stopped from the last to the first.
 */
export async function openPoorVisit(parts, size) {
  const keep = (part) => (parts.push(part), part);
  const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
  keep({ stop: () => fs.rm(folder, { recursive: true, force: true }) });
  const network = keep(await Network.start({ direct: false }));
  const link = keep(await PoorLink.start(network));
  const desktop = keep(await Desktop.start({ size }));
  await fs.mkdir(path.join(folder, 'server'));
  const server = keep(new SignalServer(path.join(folder, 'server'),
    { address: network.serverAddress, within: network.at('middle') }));
  await server.start();
  const host = keep(new Host(desktop, path.join(folder, 'host'), {}, network.at('host')));
  await host.start(server.hostAddress);
  await host.status(kStatus.waiting);
  const browser = await network.scriptAt('phone', folder, kBrowser);
  const phone = keep(await Phone.start({ viewport: desktop.size, browser }));
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  await phone.live();
  // Everyday visits are to a host that has opened no window since it was started.
  await host.stop();
  await host.resume();
  await prepareFirstPictures(phone);
  return { desktop, host, link, phone };
}
