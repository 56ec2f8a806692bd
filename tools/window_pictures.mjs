// Takes the pictures of the host's windows in docs/images from the running program: every window and
// step, light and dark, at double scale. tools/window_pictures.mjs FOLDER, with the environment of
// the end-to-end tests (see tests/e2e/CMakeLists.txt). Needs the packages imagemagick and xdotool.

import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { Desktop } from '../tests/e2e/support/desktop.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { Phone } from '../tests/e2e/support/phone.mjs';
import { Program } from '../tests/e2e/support/program.mjs';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';

const kScale = 2;
const kSettlingMs = 800;
const kServices = fileURLToPath(
  new URL('../tests/integration/dbus/desktop_services.py', import.meta.url));

const target = process.argv[2] ?? 'docs/images';
await fs.mkdir(target, { recursive: true });
const settled = () => new Promise((resolve) => setTimeout(resolve, kSettlingMs));

/** The picture of one window, cut out of the screen. */
async function shoot(desktop, window, name) {
  await desktop.windowNamed(window);
  await settled();
  const words = (await desktop.tell('xwininfo', '-name', window)).join('\n');
  const number = (label) => Number(new RegExp(`${label}: +(-?\\d+)`).exec(words)[1]);
  const area = `${number('Width')}x${number('Height')}` +
    `+${number('Absolute upper-left X')}+${number('Absolute upper-left Y')}`;
  await desktop.tell('import', '-window', 'root', '-crop', area, '+repage',
    path.join(target, `${name}.png`));
}

async function scene(scheme, { extensions = [], visit }) {
  const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-pictures-'));
  const parts = [];
  const keep = (part) => (parts.push(part), part);
  try {
    const desktop = keep(await Desktop.start({ size: '2400x1400', options: extensions }));
    await desktop.tell('xsetroot', '-solid', '#27415f');
    const variables = { QT_SCALE_FACTOR: String(kScale) };
    if (scheme === 'dark') {
      const bus = keep(desktop.run('dbus-daemon', '--session', '--nofork', '--print-address=1'));
      const [address] = await bus.out.next(/^unix:.*$/);
      const portal = keep(new Program('/usr/bin/python3',
        [kServices, address, 'org.freedesktop.portal.Desktop'], { name: 'the portal' }));
      await portal.out.next(/^READY$/);
      variables.DBUS_SESSION_BUS_ADDRESS = address;
    }
    const server = keep(new SignalServer(path.join(folder, 'server')));
    await fs.mkdir(path.join(folder, 'server'));
    await server.start();
    const host = keep(new Host(desktop, path.join(folder, 'host'), variables));
    await host.start(server.hostAddress, { paired: false });
    await visit({ desktop, host, server, keep, name: (what) => `${what}-${scheme}` });
  } finally {
    for (const part of parts.reverse()) await part.stop();
    await fs.rm(folder, { recursive: true, force: true });
  }
}

for (const scheme of ['light', 'dark']) {
  // A server without XTEST lets nobody click or type: a permission is missing.
  await scene(scheme, {
    extensions: ['-extension', 'XTEST'],
    async visit({ desktop, host, name }) {
      await shoot(desktop, 'Tovalin', name('pairing-permissions'));
      host.closePairingWindow();
      await host.startAgain();
      await shoot(desktop, 'Tovalin Host', name('menu-permissions'));
    },
  });
  await scene(scheme, {
    async visit({ desktop, host, server, keep, name }) {
      await desktop.code();
      await shoot(desktop, 'Tovalin', name('pairing-connect'));
      const phone = keep(await Phone.start({ viewport: { width: 390, height: 780 } }));
      await phone.open(server.pageAddress);
      await phone.pair(await host.pin());
      await phone.live();
      await host.status(kStatus.connected);
      await shoot(desktop, 'Tovalin', name('pairing-done'));
      host.closePairingWindow();
      await shoot(desktop, 'Someone is controlling this Mac', name('indicator'));
      await host.startAgain();
      await desktop.windowNamed('Tovalin Host');
      await desktop.tell('xdotool', 'key', 'Tab', 'Tab', 'Tab', 'space');
      await shoot(desktop, 'Tovalin Host', name('menu-visit'));
    },
  });
}
