import { chromium } from 'playwright-core';
import { LineLog } from './line_log.mjs';

const kFlags = [
  '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync',
];
const kBrowser = '/usr/bin/chromium';
const kPatienceMs = 30000;

/** A browser with the viewer's page. */
export class Phone {
  #server;
  #browser;
  #context;
  page;
  /** What the server has said to the page, one message a line. */
  heard = new LineLog('the server');
  /** Every address the page has asked for, sockets included. */
  asked = [];
  /** Errors of the page's scripts, and every breach of its content policy. */
  complaints = [];

  /** `viewport` in CSS pixels, `scale` device pixels to each of them. With `touch` it is a phone. */
  static async start({ viewport, touch = false, scale = 1, browser = kBrowser }) {
    const phone = new Phone();
    phone.#server = await chromium.launchServer({
      executablePath: browser, args: kFlags, host: '127.0.0.1',
    });
    phone.#browser = await chromium.connect(phone.#server.wsEndpoint());
    phone.#context = await phone.#browser.newContext({
      viewport, deviceScaleFactor: scale, hasTouch: touch, isMobile: touch,
    });
    phone.#context.setDefaultTimeout(kPatienceMs);
    return phone;
  }

  async open(address) {
    this.page = await this.#context.newPage();
    this.page.on('pageerror', (error) => this.complaints.push(error.message));
    this.page.on('console', (message) => {
      if (message.type() === 'error' && /Content Security Policy/.test(message.text())) {
        this.complaints.push(message.text());
      }
    });
    this.page.on('request', (request) => this.asked.push(request.url()));
    this.page.on('websocket', (socket) => {
      this.asked.push(socket.url());
      socket.on('framereceived', ({ payload }) => this.heard.add(String(payload)));
    });
    await this.page.goto(address);
  }

  async pair(pin) {
    await this.page.fill('#pin', pin);
  }

  live() {
    return this.phase('live');
  }

  phase(phase, notice = '') {
    return this.page.waitForFunction(
      (wanted) => {
        const { phase: now, notice: key } = globalThis.tovalin?.state ?? {};
        return now === wanted.phase && (!wanted.notice || key === wanted.notice);
      },
      { phase, notice });
  }

  state() {
    return this.page.evaluate(() => globalThis.tovalin.state);
  }

  stats() {
    return this.page.evaluate(() => globalThis.tovalin.stats());
  }

  /** The size of the picture as it arrived, once it is that size. */
  async pictureIs({ width, height }) {
    await this.page.waitForFunction(
      ([w, h]) => {
        const video = document.getElementById('picture');
        return video.videoWidth === w && video.videoHeight === h;
      },
      [width, height]);
  }

  /**
   * Waits until the picture has these colours, [{x, y, colour}] in its own pixels, within the
   * tolerance. Otherwise tells the first that differ.
   */
  async showsColours(points, tolerance = 12) {
    const look = ({ points: wanted, tolerance: most }) => {
      const video = document.getElementById('picture');
      const canvas = document.createElement('canvas');
      canvas.width = video.videoWidth;
      canvas.height = video.videoHeight;
      const context = canvas.getContext('2d', { willReadFrequently: true });
      context.drawImage(video, 0, 0);
      return wanted
        .map(({ x, y, colour }) => ({ x, y, colour, seen: [...context.getImageData(x, y, 1, 1).data] }))
        .filter(({ colour, seen }) => colour.some((value, i) => Math.abs(value - seen[i]) > most));
    };
    const deadline = Date.now() + kPatienceMs;
    for (;;) {
      const wrong = await this.page.evaluate(look, { points, tolerance });
      if (wrong.length === 0) return;
      if (Date.now() > deadline) {
        const some = wrong.slice(0, 5).map(({ x, y, colour, seen }) =>
          `at ${x},${y} ${colour} expected, ${seen.slice(0, 3)} seen`);
        throw new Error(`${wrong.length} of ${points.length} colours differ: ${some.join('; ')}`);
      }
      await this.nextFrames(1);
    }
  }

  /** Waits until so many more frames have been presented. */
  async nextFrames(count) {
    await this.page.evaluate(
      ([wanted, patience]) => new Promise((resolve, reject) => {
        const video = document.getElementById('picture');
        const timer = setTimeout(() => reject(new Error('no frames')), patience);
        let seen = 0;
        const frame = () => {
          if (++seen < wanted) return video.requestVideoFrameCallback(frame);
          clearTimeout(timer);
          resolve();
        };
        video.requestVideoFrameCallback(frame);
      }),
      [count, kPatienceMs]);
  }

  get mouse() {
    return this.page.mouse;
  }

  get keyboard() {
    return this.page.keyboard;
  }

  /** The page goes in the proper way. */
  async leave() {
    await this.page.close();
  }

  /** As when the battery is empty: nobody says goodbye. */
  async vanish() {
    await this.#server.kill();
  }

  async stop() {
    await this.#server?.close();
  }
}
