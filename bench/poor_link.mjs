import { Program } from '../tests/e2e/support/program.mjs';

const kDevice = 'poor';
const kAddresses = { phone: '10.77.3.1', host: '10.77.3.2' };

/**
 * A cable between the phone and the computer of a Network that is as bad as one wants. It is their
 * only way to each other when the one in the middle lets nothing through.
 */
export class PoorLink {
  #program;

  static async start(network) {
    const link = new PoorLink();
    for (const [place, peer] of [['phone', 'host'], ['host', 'phone']]) {
      const ip = (...words) => run(network.at(place), 'ip', ...words);
      await ip('tuntap', 'add', 'dev', kDevice, 'mode', 'tun');
      await ip('addr', 'add', kAddresses[place], 'peer', kAddresses[peer], 'dev', kDevice);
      await ip('link', 'set', kDevice, 'up');
    }
    const names = ['phone', 'host'].map((place) => network.nameOf(place));
    link.#program = new Program(process.env.TOVALIN_POOR_LINK, [...names, kDevice],
      { name: 'poor_link' });
    await link.#program.out.next(/^READY$/);
    return link;
  }

  /** `words` as in poor_link/main.cpp; none for a good one. Like the next two it tells when, in ms. */
  become(words = '') {
    return this.#when(`network ${words}`);
  }

  cut() {
    return this.#when('cut');
  }

  mend() {
    return this.#when('mend');
  }

  /** The counts of both directions together. */
  async counts() {
    const since = this.#program.out.mark();
    this.#program.command('tell');
    const [, text] = await this.#program.out.next(/^tell (.*)$/, { since });
    const [up, down] = JSON.parse(text);
    const most = Math.max(up.lateMost, down.lateMost);
    return { lost: up.lost + down.lost, overflowed: up.overflowed + down.overflowed, lateMost: most };
  }

  async stop() {
    await this.#program?.stop();
  }

  async #when(line) {
    const since = this.#program.out.mark();
    this.#program.command(line);
    const [, ns] = await this.#program.out.next(/^(?:network|cut|mend) (\d+)$/, { since });
    return Number(ns) / 1e6;
  }
}

async function run(within, command, ...words) {
  const program = new Program(command, words, { within });
  const { code } = await program.ended();
  if (code !== 0) throw new Error(`${command} ${words.join(' ')}: ${program.err.lines.join(' ')}`);
}
