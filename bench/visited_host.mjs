// A host on a desktop of its own, with its own page in a browser that watches it, for a benchmark.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { Phone } from '../tests/e2e/support/phone.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';

/**
 * Calls `measure({desktop, host, phone})` during a visit to a host that has opened no window since it
 * was started, and ends everything after it. `prepare(phone)` comes before the page is loaded for that
 * visit; `options` are the X server's, `variables` of the host's environment.
 */
export async function withVisitedHost(
  { size = '1920x1080', options = [], variables = {}, prepare = async () => {} }, measure) {
  const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
  const parts = [];
  const keep = (part) => (parts.push(part), part);
  try {
    const desktop = keep(await Desktop.start({ size, options }));
    await fs.mkdir(path.join(folder, 'server'));
    const server = keep(new SignalServer(path.join(folder, 'server')));
    await server.start();
    const host = keep(new Host(desktop, path.join(folder, 'host'), variables));
    await host.start(server.hostAddress);
    await host.status(kStatus.waiting);
    const phone = keep(await Phone.start({ viewport: desktop.size }));
    await phone.open(server.pageAddress);
    await phone.pair(await host.pin());
    await phone.live();
    await host.stop();
    await host.resume();
    await prepare(phone);
    await phone.page.reload();
    await phone.live();
    await phone.pictureIs(desktop.size);
    return await measure({ desktop, host, phone });
  } finally {
    for (const part of parts.reverse()) await part.stop();
    await fs.rm(folder, { recursive: true, force: true });
  }
}
