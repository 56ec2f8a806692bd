// A viewer of the RFB protocol (RFC 6143), as small as measuring needs: one connection without
// authentication, raw and ZRLE, 32 bits a pixel. It keeps the whole screen, so that what it took to
// decode is in the figures, and tells when the pixel that is watched changes.

import net from 'node:net';
import zlib from 'node:zlib';

const kRaw = 0;
const kZrle = 16;
const kTile = 64;

/** Bytes as they come, read in order. */
class Inbox {
  #chunks = [];
  #size = 0;
  #wanted = null;
  received = 0;

  push(chunk) {
    this.received += chunk.length;
    this.#chunks.push(chunk);
    this.#size += chunk.length;
    this.#serve();
  }

  read(count) {
    return new Promise((resolve) => {
      this.#wanted = { count, resolve };
      this.#serve();
    });
  }

  #serve() {
    if (!this.#wanted || this.#size < this.#wanted.count) return;
    const { count, resolve } = this.#wanted;
    this.#wanted = null;
    const all = this.#chunks.length === 1 ? this.#chunks[0] : Buffer.concat(this.#chunks);
    this.#chunks = count < all.length ? [all.subarray(count)] : [];
    this.#size = all.length - count;
    resolve(all.subarray(0, count));
  }
}

export class RfbClient {
  #socket;
  #inbox = new Inbox();
  // Never holds back: a rectangle is read as soon as it has been written.
  #inflate = zlib.createInflate({ chunkSize: 1 << 20, readableHighWaterMark: 1 << 28 });
  #screen;
  #watched = 0;
  #seen = -1;
  #changed = null;
  #updates = 0;
  #missing; // pixels that no update has brought yet; servers may send the first picture in parts
  #complete;

  /** `encoding` is "raw" or "zrle". The client has the whole screen when it is there. */
  static async connect(port, encoding) {
    const client = new RfbClient();
    await client.#open(port, encoding === 'zrle' ? [kZrle, kRaw] : [kRaw]);
    return client;
  }

  get bytes() {
    return this.#inbox.received;
  }

  /** Messages with changes so far; a server may spread one picture over several. */
  get updates() {
    return this.#updates;
  }

  /** Pixel whose changes `nextChange` tells of. */
  watch(x, y) {
    this.#watched = y * this.width + x;
    this.#seen = this.#screen[this.#watched];
  }

  /** Resolves with performance.now() once the watched pixel has another colour. */
  nextChange() {
    return new Promise((resolve) => {
      this.#changed = resolve;
    });
  }

  press(x, y) {
    this.#pointer(1, x, y);
    this.#pointer(0, x, y);
  }

  move(x, y) {
    this.#pointer(0, x, y);
  }

  stop() {
    this.#socket.destroy();
  }

  #pointer(buttons, x, y) {
    const message = Buffer.alloc(6);
    message[0] = 5;
    message[1] = buttons;
    message.writeUInt16BE(x, 2);
    message.writeUInt16BE(y, 4);
    this.#socket.write(message);
  }

  async #open(port, encodings) {
    this.#socket = net.connect(port, '127.0.0.1');
    this.#socket.setNoDelay(true);
    this.#socket.on('data', (chunk) => this.#inbox.push(chunk));
    this.#socket.on('error', () => {});
    await this.#inbox.read(12);
    this.#socket.write('RFB 003.008\n');
    const [kinds] = await this.#inbox.read(1);
    await this.#inbox.read(kinds);
    this.#socket.write(Buffer.from([1])); // no authentication
    const result = await this.#inbox.read(4);
    if (result.readUInt32BE(0) !== 0) throw new Error('the RFB server wants a password');
    this.#socket.write(Buffer.from([1])); // shared
    const header = await this.#inbox.read(24);
    this.width = header.readUInt16BE(0);
    this.height = header.readUInt16BE(2);
    await this.#inbox.read(header.readUInt32BE(20));
    this.#screen = new Uint32Array(this.width * this.height);
    this.#missing = this.#screen.length;

    // 32 bits, little-endian, eight bits a channel: 0x00RRGGBB.
    this.#socket.write(Buffer.from(
      [0, 0, 0, 0, 32, 24, 0, 1, 0, 255, 0, 255, 0, 255, 16, 8, 0, 0, 0, 0]));
    const list = Buffer.alloc(4 + 4 * encodings.length);
    list[0] = 2;
    list.writeUInt16BE(encodings.length, 2);
    encodings.forEach((encoding, index) => list.writeInt32BE(encoding, 4 + 4 * index));
    this.#socket.write(list);
    this.#request(false);
    await new Promise((resolve, reject) => {
      this.#complete = resolve;
      this.#socket.once('close', () => reject(new Error('the RFB server hung up')));
      this.#follow().catch(reject);
    });
  }

  #request(incremental) {
    const message = Buffer.alloc(10);
    message[0] = 3;
    message[1] = incremental ? 1 : 0;
    message.writeUInt16BE(this.width, 6);
    message.writeUInt16BE(this.height, 8);
    this.#socket.write(message);
  }

  async #follow() {
    for (;;) {
      const [kind] = await this.#inbox.read(1);
      if (kind === 0) await this.#update();
      else if (kind === 1) await this.#skipColours();
      else if (kind === 3) await this.#skipClipboard();
      else if (kind !== 2) throw new Error(`RFB message ${kind}`);
    }
  }

  async #skipColours() {
    const header = await this.#inbox.read(5);
    await this.#inbox.read(6 * header.readUInt16BE(3));
  }

  async #skipClipboard() {
    const header = await this.#inbox.read(7);
    await this.#inbox.read(header.readUInt32BE(3));
  }

  async #update() {
    const count = (await this.#inbox.read(3)).readUInt16BE(1);
    // The next one may be made while this one is decoded.
    this.#request(true);
    for (let i = 0; i < count; ++i) {
      const header = await this.#inbox.read(12);
      const area = {
        x: header.readUInt16BE(0), y: header.readUInt16BE(2),
        width: header.readUInt16BE(4), height: header.readUInt16BE(6),
      };
      if (header.readInt32BE(8) === kZrle) await this.#zrle(area);
      else await this.#raw(area);
      this.#missing -= area.width * area.height;
    }
    ++this.#updates;
    if (this.#missing <= 0) this.#complete();
    const now = this.#screen[this.#watched];
    if (now === this.#seen) return;
    this.#seen = now;
    this.#changed?.(performance.now());
    this.#changed = null;
  }

  async #raw({ x, y, width, height }) {
    const pixels = await this.#inbox.read(4 * width * height);
    const words = new Uint32Array(pixels.buffer.slice(
      pixels.byteOffset, pixels.byteOffset + pixels.length));
    for (let row = 0; row < height; ++row) {
      this.#screen.set(words.subarray(row * width, (row + 1) * width), (y + row) * this.width + x);
    }
  }

  async #zrle(area) {
    const length = (await this.#inbox.read(4)).readUInt32BE(0);
    const packed = await this.#inbox.read(length);
    await new Promise((resolve) => this.#inflate.write(packed, resolve));
    const bytes = this.#inflate.read();
    let at = 0;
    for (let y = area.y; y < area.y + area.height; y += kTile) {
      for (let x = area.x; x < area.x + area.width; x += kTile) {
        at = this.#tile(bytes, at, {
          x, y,
          width: Math.min(kTile, area.x + area.width - x),
          height: Math.min(kTile, area.y + area.height - y),
        });
      }
    }
  }

  /** Decodes one tile from that place on and returns the place behind it. */
  #tile(bytes, start, { x, y, width, height }) {
    let at = start;
    const colour = () => {
      const value = bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16);
      at += 3;
      return value;
    };
    const run = () => {
      let length = 1;
      let byte;
      do {
        byte = bytes[at++];
        length += byte;
      } while (byte === 255);
      return length;
    };
    const place = (index) => (y + Math.floor(index / width)) * this.width + x + (index % width);
    const kind = bytes[at++];
    const isRuns = kind >= 128;
    const palette = Array.from({ length: isRuns ? kind - 128 : kind }, colour);
    const total = width * height;
    if (!isRuns && palette.length === 1) {
      for (let i = 0; i < total; ++i) this.#screen[place(i)] = palette[0];
    } else if (kind === 0) {
      for (let i = 0; i < total; ++i) this.#screen[place(i)] = colour();
    } else if (!isRuns) {
      const bits = palette.length === 2 ? 1 : palette.length <= 4 ? 2 : 4;
      for (let row = 0; row < height; ++row) {
        for (let column = 0; column < width; ++column) {
          const bit = column * bits;
          const index = (bytes[at + (bit >> 3)] >> (8 - bits - (bit & 7))) & ((1 << bits) - 1);
          this.#screen[(y + row) * this.width + x + column] = palette[index];
        }
        at += (width * bits + 7) >> 3;
      }
    } else {
      for (let i = 0; i < total;) {
        let value;
        let length;
        if (kind === 128) {
          value = colour();
          length = run();
        } else {
          const index = bytes[at++];
          value = palette[index & 127];
          length = index & 128 ? run() : 1;
        }
        for (; length > 0 && i < total; --length, ++i) this.#screen[place(i)] = value;
      }
    }
    return at;
  }
}
