// What the phone's page weighs: bytes and requests of a cold load, and the time until it takes a PIN,
// over loopback. Needs the environment of the end-to-end tests' server, TOVALIN_SIGNAL.

import fs from 'node:fs/promises';
import { createRequire } from 'node:module';
import os from 'node:os';
import path from 'node:path';
import { SignalServer } from '../tests/e2e/support/signal_server.mjs';
import { row } from './process_figures.mjs';

const kLoads = 10;
const kPhone = {
  viewport: { width: 390, height: 844 }, deviceScaleFactor: 3, isMobile: true, hasTouch: true,
};

const { chromium } =
  createRequire(new URL('../tests/e2e/package.json', import.meta.url))('playwright-core');

function median(values) {
  const sorted = [...values].sort((a, b) => a - b);
  const half = (sorted.length - 1) / 2;
  return (sorted[Math.floor(half)] + sorted[Math.ceil(half)]) / 2;
}

/** One load with nothing cached: {bytes, requests, milliseconds}. */
async function coldLoad(browser, address) {
  const context = await browser.newContext(kPhone);
  try {
    const page = await context.newPage();
    const devtools = await context.newCDPSession(page);
    await devtools.send('Network.enable');
    let bytes = 0;
    let requests = 0;
    devtools.on('Network.loadingFinished', ({ encodedDataLength }) => {
      bytes += encodedDataLength;
      requests += 1;
    });
    // The page's last act of starting is to show its state to the curious.
    await page.addInitScript(() => {
      Object.defineProperty(globalThis, 'tovalin', {
        set: () => (globalThis.benchReady = performance.now()), configurable: true,
      });
    });
    await page.goto(address, { waitUntil: 'load' });
    await page.waitForSelector('#pin:visible');
    const milliseconds = await page.evaluate(() => globalThis.benchReady);
    return { bytes, requests, milliseconds };
  } finally {
    await context.close();
  }
}

const folder = await fs.mkdtemp(path.join(os.tmpdir(), 'tovalin-bench-'));
const server = new SignalServer(folder);
const browser = await chromium.launch({
  executablePath: '/usr/bin/chromium', args: ['--no-sandbox', '--disable-gpu'],
});
try {
  await server.start();
  const loads = [];
  while (loads.length < kLoads) loads.push(await coldLoad(browser, server.pageAddress));
  const of = (name) => median(loads.map((load) => load[name]));
  console.log(`The page, cold, median of ${kLoads} loads, load average ${os.loadavg()[0].toFixed(1)}\n`);
  console.log('| What | Measured | Limit |\n|---|---|---|');
  row('weight', of('bytes') / 1024, 'KiB', '');
  row('requests', of('requests'), '', '');
  row('ready for a PIN', of('milliseconds'), 'ms', '');
} finally {
  await browser.close();
  await server.stop();
  await fs.rm(folder, { recursive: true, force: true });
}
