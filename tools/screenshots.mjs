// Takes the pictures in docs/images from the running programs: tools/screenshots.mjs FOLDER, with the
// environment of the end-to-end tests (see tests/e2e/CMakeLists.txt).

import fs from 'node:fs/promises';
import path from 'node:path';
import { kStatus } from '../tests/e2e/support/host.mjs';
import { openScene } from '../tests/e2e/support/scene.mjs';

const kLaptop = { width: 1280, height: 800 };
const kPhone = { width: 390, height: 780 };

const folder = process.argv[2] ?? 'docs/images';
await fs.mkdir(folder, { recursive: true });

const endings = [];
const scene = await openScene({ after: (end) => endings.push(end) },
  { size: '1280x720', viewport: kLaptop });
try {
  const { desktop, host, phone, server } = scene;
  const shoot = (name) => phone.page.screenshot({ path: path.join(folder, `${name}.png`) });

  await desktop.tell('xsetroot', '-solid', '#27415f');
  desktop.run('xclock', '-update', '1', '-geometry', '220x220+1000+60');
  desktop.run('xeyes', '-geometry', '220x140+1000+330');
  desktop.run('xterm', '-fa', 'DejaVu Sans Mono', '-fs', '12', '-geometry', '84x26+60+60',
    '-title', 'Terminal', '-e', 'env', 'PS1=$ ', 'sh');

  await phone.open(server.pageAddress);
  await phone.page.setViewportSize(kPhone);
  await phone.page.waitForSelector('#pin:visible');
  await shoot('pairing');
  await phone.page.setViewportSize(kLaptop);
  await phone.pair(await host.pin());
  await phone.live();
  await host.status(kStatus.connected);
  await phone.pictureIs(desktop.size);
  await phone.mouse.click(300, 300);
  await phone.keyboard.type("echo 'Grüße from the phone — 日本語 😀'");
  await phone.keyboard.press('Enter');
  await phone.nextFrames(4);
  await shoot('visit');
} finally {
  for (const end of endings.reverse()) await end();
}
