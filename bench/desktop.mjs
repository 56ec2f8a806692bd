// What the program costs a desktop while nobody visits: its start up to the icon in the tray, its
// memory before and after its panel was first opened, and how often it wakes the processor.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { fileURLToPath } from 'node:url';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { Program } from '../tests/e2e/support/program.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';
import { cpuSeconds, residentMb, row, wakeUps } from './process_figures.mjs';

const kStarts = 11;
const kIdleMs = 60000;
const kSettlingMs = 5000;
const kPanelMs = 2000;

const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const parts = [];
const keep = (part) => (parts.push(part), part);
try {
  const desktop = keep(await Desktop.start({ size: '1920x1080' }));
  const bus = keep(desktop.run('dbus-daemon', '--session', '--nofork', '--print-address=1'));
  const [address] = await bus.out.next(/^unix:.*$/);
  const environment = { DBUS_SESSION_BUS_ADDRESS: address };
  const tray = keep(new Program('/usr/bin/python3',
    [fileURLToPath(new URL('tray_watcher.py', import.meta.url))],
    { name: 'the tray', env: { ...process.env, ...environment } }));
  await tray.out.next(/^READY$/);
  const server = keep(new SignalServer(path.join(folder, 'server')));
  await fs.mkdir(path.join(folder, 'server'));
  await server.start();

  const host = keep(new Host(desktop, path.join(folder, 'host'), environment));
  const starts = [];
  for (let i = 0; i < kStarts; ++i) {
    if (i > 0) await host.stop();
    const since = tray.out.mark();
    const began = Number(process.hrtime.bigint()) / 1e9;
    await (i === 0 ? host.start(server.hostAddress) : host.resume());
    const [, shown] = await tray.out.next(/^ICON (.*)$/, { since });
    starts.push((Number(shown) - began) * 1000);
  }
  starts.sort((a, b) => a - b);
  console.log(`Xvfb, private session bus, ${os.cpus().length} cores\n`);
  console.log('| What | Measured | Limit |\n|---|---|---|');
  row(`start to tray icon, median of ${kStarts}`, starts[kStarts >> 1], 'ms', '');
  row('start to tray icon, slowest', starts[kStarts - 1], 'ms', '');

  await host.status(kStatus.waiting);
  await pause(kSettlingMs);
  const used = await cpuSeconds(host.pid);
  const woken = await wakeUps(host.pid);
  await pause(kIdleMs);
  const seconds = kIdleMs / 1000;
  row('resident, no window opened yet', await residentMb(host.pid), 'MB', '');
  row('CPU, idle', (100 * ((await cpuSeconds(host.pid)) - used)) / seconds, '% of a core', '0.3');
  row('wake-ups, idle', ((await wakeUps(host.pid)) - woken) / seconds, 'a second', '');

  for (let click = 0; click < 2; ++click) {
    tray.command('click');
    await pause(kPanelMs);
  }
  row('resident, panel opened and closed', await residentMb(host.pid), 'MB', '');
} finally {
  for (const part of parts.reverse()) await part.stop();
  await fs.rm(folder, { recursive: true, force: true });
}
