// Takes the pictures of the phone's page in docs/images from the running programs: every screen, light
// and dark where they differ, as on a phone. tools/viewer_pictures.mjs FOLDER, with the environment of the end-to-end
// tests (see tests/e2e/CMakeLists.txt). Needs the package imagemagick.

import { execFileSync } from 'node:child_process';
import fs from 'node:fs/promises';
import path from 'node:path';
import { Hand } from '../tests/e2e/support/hand.mjs';
import { Host, kStatus } from '../tests/e2e/support/host.mjs';
import { openScene } from '../tests/e2e/support/scene.mjs';

const kPhone = { viewport: { width: 390, height: 844 }, touch: true, scale: 3 };
const kWidth = 780; // of a picture as it is kept; two pixels to each of the phone's
const kColours = 64;
const kOverPicture = { schemes: ['dark'] }; // what lies over the picture is always dark

const target = process.argv[2] ?? 'docs/images';
await fs.mkdir(target, { recursive: true });

async function shoot(phone, name, { schemes = ['light', 'dark'] } = {}) {
  for (const scheme of schemes) {
    await phone.page.emulateMedia({ colorScheme: scheme });
    const file = path.join(target, `phone-${name}-${scheme}.png`);
    await phone.page.screenshot({ path: file, animations: 'disabled' });
    execFileSync('convert', [file, '-strip', '-resize', String(kWidth), '+dither', '-colors',
      String(kColours), file]);
  }
}

async function rename(phone, alias) {
  await phone.page.locator('.computer-more').first().click();
  await phone.page.fill('#alias', alias);
  await phone.page.press('#alias', 'Enter');
}

async function openBar(phone) {
  await phone.page.click('#bar-toggle');
  await phone.page.waitForSelector('#bar-buttons:visible');
}

async function goHome(phone) {
  await openBar(phone);
  await phone.page.click('#desk-home');
  await phone.phase('home');
}

/** Zooms, and holds a finger down in mid-drag for as long as the picture is taken. */
async function shootTouching(phone) {
  await openBar(phone);
  await phone.page.click('#touch-direct');
  await phone.page.click('#bar-toggle');
  await phone.page.waitForSelector('#touch-hint', { state: 'hidden' });
  const hand = await Hand.of(phone);
  hand.down(1, [140, 420]).down(2, [180, 420]);
  await hand.stroke({ 1: [[140, 420], [60, 420]], 2: [[180, 420], [240, 420]] });
  hand.up(1).up(2).pause(1000).down(1, [120, 700]);
  await hand.stroke({ 1: [[120, 700], [120, 330]] });
  await phone.nextFrames(3);
  await shoot(phone, 'touching', kOverPicture);
  hand.up(1).pause(1000).down(1, [60, 420]).down(2, [240, 420]);
  await hand.stroke({ 1: [[60, 420], [140, 420]], 2: [[240, 420], [180, 420]] });
  hand.up(1).up(2);
  await hand.done();
}

/** The desktop that is looked at: a few programs of a day's work. */
async function furnish(desktop) {
  await desktop.tell('xsetroot', '-solid', '#27415f');
  desktop.run('xclock', '-update', '1', '-geometry', '220x220+1000+60');
  desktop.run('xeyes', '-geometry', '220x140+1000+330');
  desktop.run('xterm', '-fa', 'DejaVu Sans Mono', '-fs', '12', '-geometry', '84x26+60+60',
    '-title', 'Terminal', '-e', 'sh', '-c', 'ls -l /usr/share | tail -n 22; PS1="$ " exec sh');
}

async function takeAll({ desktop, folder, host, keep, phone, server }) {
  await furnish(desktop);
  await phone.open(server.pageAddress);
  await phone.page.waitForSelector('#pin:visible');
  await phone.page.fill('#device-name', 'My phone');
  await shoot(phone, 'pairing');
  await phone.page.click('#use-link');
  await shoot(phone, 'link');
  await phone.pair(await host.pin());
  await phone.live();
  await host.status(kStatus.connected);
  host.closePairingWindow();
  await phone.pictureIs(desktop.size);
  await phone.nextFrames(6);
  await phone.page.waitForSelector('#touch-hint', { state: 'hidden' });
  await openBar(phone);
  await shoot(phone, 'bar', kOverPicture);
  await phone.page.click('#show-figures');
  await phone.page.locator('#figures', { hasText: /\d a second/ }).waitFor();
  await shoot(phone, 'figures', kOverPicture);
  await openBar(phone);
  await phone.page.click('#show-figures');
  await shootTouching(phone);

  await desktop.tell('xset', 's', 'activate');
  await phone.page.waitForSelector('#locked:visible');
  await shoot(phone, 'locked');
  await desktop.tell('xset', 's', 'reset');
  await phone.page.waitForSelector('#locked', { state: 'hidden' });

  await goHome(phone);
  await rename(phone, 'Attic');
  const study = keep(new Host(desktop, path.join(folder, 'study')));
  await study.start(server.hostAddress);
  await study.status(kStatus.waiting);
  await phone.page.click('#add-computer');
  await phone.pair(await study.pin());
  await phone.live();
  study.closePairingWindow();
  await goHome(phone);
  await rename(phone, 'Study');
  await host.kill();
  await phone.page.locator('.computer-state', { hasText: 'Offline' }).waitFor();
  await phone.page.locator('.computer-state', { hasText: 'Online' }).waitFor();
  await shoot(phone, 'computers');
  await phone.page.locator('.computer-more').first().click();
  await shoot(phone, 'rename');
  await phone.page.click('#forget-ask');
  await shoot(phone, 'forget');
  await phone.page.click('#forget-keep');

  await phone.page.locator('.computer-open', { hasText: 'Study' }).click();
  await phone.live();
  await phone.pictureIs(desktop.size);
  await phone.nextFrames(3);
  await study.kill();
  await phone.phase('notice', 'host-offline');
  await shoot(phone, 'offline');
}

const endings = [];
const scene = await openScene({ after: (end) => endings.push(end) }, { size: '1280x720', ...kPhone });
try {
  await takeAll(scene);
} finally {
  for (const end of endings.reverse()) await end();
}
