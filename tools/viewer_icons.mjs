// Makes the icons a phone's home screen shows from companion/viewer/icon.svg: tools/viewer_icons.mjs.
// Needs the browser of the end-to-end tests and the package imagemagick.

import { execFileSync } from 'node:child_process';
import fs from 'node:fs/promises';
import { createRequire } from 'node:module';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const kRoot = fileURLToPath(new URL('..', import.meta.url));
const kViewer = path.join(kRoot, 'companion/viewer');
const kColours = 48; // the icon has three, and their edges

// `bleeds`: the system cuts the icon's shape, so the ground reaches every corner. `scale`: of what
// stands on it, for a mask may cut off all but a circle of four fifths of the width.
const kIcons = [
  { name: 'icon-192', size: 192 },
  { name: 'icon-512', size: 512 },
  { name: 'icon-maskable-512', size: 512, bleeds: true, scale: 0.88 },
  { name: 'icon-apple-180', size: 180, bleeds: true },
];

const { chromium } = createRequire(path.join(kRoot, 'tests/e2e/package.json'))('playwright-core');
const svg = await fs.readFile(path.join(kViewer, 'icon.svg'), 'utf8');
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: ['--no-sandbox'] });
try {
  for (const { name, size, bleeds = false, scale = 1 } of kIcons) {
    const page = await browser.newPage({ viewport: { width: size, height: size } });
    await page.setContent(`<style>* { margin: 0 } svg { display: block; width: 100vw }</style>${svg}`);
    await page.evaluate(([full, factor]) => {
      const [ground, ...parts] = document.querySelectorAll('svg > *');
      if (full) ground.setAttribute('rx', '0');
      const place = `translate(32 32) scale(${factor}) translate(-32 -32)`;
      for (const part of parts) part.setAttribute('transform', place);
    }, [bleeds, scale]);
    const file = path.join(kViewer, `${name}.png`);
    await page.screenshot({ path: file, omitBackground: true });
    await page.close();
    execFileSync('convert', [file, '-strip', '+dither', '-colors', String(kColours), file]);
  }
} finally {
  await browser.close();
}
