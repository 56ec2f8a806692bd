import { fileURLToPath } from 'node:url';
import { Phone } from '../../tests/e2e/support/phone.mjs';
import { photonsOfPage } from '../photon_page.mjs';
import { kViewport } from './viewport.mjs';

const kProgram = fileURLToPath(new URL('../peers/gstreamer.py', import.meta.url));
const kPage = String(new URL('../peers/gstreamer.html', import.meta.url));
const kForever = 2 ** 31 - 1;

/** Hands every message of the program to the page, until the program ends. */
async function carry(program, page) {
  for (let since = 0; ;) {
    const line = await program.out.next(/^\{.*\}$/, { since, within: kForever });
    since = line.mark;
    await page.evaluate((message) => globalThis.hear(message), JSON.parse(line[0]));
  }
}

/** GStreamer's own parts, seen by a page that does no more than show them and send the pointer. */
export async function openGstreamer(desktop) {
  const program = desktop.run('/usr/bin/python3', kProgram);
  await program.out.next(/^READY$/);
  const phone = await Phone.start({ viewport: kViewport });
  await phone.open(kPage);
  const { page } = phone;
  await page.exposeFunction('tell', (message) => program.command(JSON.stringify(message)));
  let trouble = null;
  carry(program, page).catch((error) => (trouble = error)); // it also ends with the program
  const firstPicture = async () => {
    await page.reload();
    await page.evaluate(() => globalThis.visit());
    const shown = () => globalThis.isOpen() && globalThis.firstPicture;
    try {
      return await (await page.waitForFunction(shown)).jsonValue();
    } catch (error) {
      throw new Error(`no picture: ${program.err.lines.join('; ')}`, { cause: trouble ?? error });
    }
  };
  await firstPicture();
  await phone.pictureIs(desktop.size);
  return {
    pid: () => program.pid,
    received: () => page.evaluate(() => globalThis.received()),
    clicks: (target, count) => photonsOfPage(page, target, count),
    firstPicture: async () => {
      const first = await firstPicture();
      return { first, readable: first };
    },
    stop: async () => {
      for (const part of [phone, program]) await part.stop();
    },
  };
}
