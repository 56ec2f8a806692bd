import fs from 'node:fs/promises';
import path from 'node:path';
import { Host, kStatus } from '../../tests/e2e/support/host.mjs';
import { Phone } from '../../tests/e2e/support/phone.mjs';
import { SignalServer } from '../../tests/e2e/support/signal_server.mjs';
import { PictureTrace } from '../picture_trace.mjs';
import { clearPictures, firstPicture, prepareFirstPictures } from '../first_picture.mjs';
import { photonsOfPage } from '../photon_page.mjs';
import { kViewport } from './viewport.mjs';

const kReadableWithinMs = 10000;
const kAsksNothing = `
  export const raiseBitrateCeiling = (sdp) => sdp;
  export { raiseBitrateCeiling as letHostBeginHandshake };`;

/** From here on the page's answer is as the browser made it. */
async function askNothing(page) {
  await page.route('**/sdp.js', (route) =>
    route.fulfill({ contentType: 'text/javascript', body: kAsksNothing }));
}

/** The host with its own page in a browser, as it ships; or with a page that `asks` for no bitrate. */
export async function openHost(desktop, folder, { asks = true } = {}) {
  const server = new SignalServer(await fs.mkdtemp(path.join(folder, 'server-')));
  await server.start();
  const home = await fs.mkdtemp(path.join(folder, 'host-'));
  const trace = new PictureTrace(path.join(home, 'frames'));
  const host = new Host(desktop, home, trace.environment);
  await host.start(server.hostAddress);
  await host.status(kStatus.waiting);
  const phone = await Phone.start({ viewport: kViewport });
  await phone.open(server.pageAddress);
  await phone.pair(await host.pin());
  await phone.live();
  // Everyday visits are to a host that has opened no window since it was started.
  await host.stop();
  await host.resume();
  if (!asks) await askNothing(phone.page);
  await prepareFirstPictures(phone);
  const answers = [];
  phone.page.on('websocket', (socket) => socket.on('framesent', ({ payload }) => {
    const message = JSON.parse(payload);
    if (message.type === 'answer') answers.push(message.sdp);
  }));
  await firstPicture(phone, host);
  await phone.pictureIs(desktop.size);
  // A page that had been cached, or a name that has changed, would measure the same system twice.
  const hasAsked = answers.every((sdp) => sdp.includes('x-google-max-bitrate'));
  if (answers.length === 0 || hasAsked !== asks) throw new Error('the page asked for another bitrate');
  return {
    pid: () => host.pid,
    received: async () => {
      const { bytesReceived, framesDecoded } = await phone.stats();
      return { bytes: bytesReceived, pictures: framesDecoded - (await trace.framesAhead()) };
    },
    clicks: (target, count) => photonsOfPage(phone.page, target, count, trace),
    firstPicture: async () => {
      const first = await firstPicture(phone, host);
      return { first, ...(await clearPictures(phone, desktop, 'readable', kReadableWithinMs)) };
    },
    stop: async () => {
      for (const part of [phone, host, server]) await part.stop();
    },
  };
}
