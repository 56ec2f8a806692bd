import fs from 'node:fs/promises';
import path from 'node:path';
import { Program } from './program.mjs';

const kPlaces = ['phone', 'host'];
const kMiddle = 'middle';
// As the middle is known from each side; either address is reached from both.
const kSubnets = { phone: '10.77.1', host: '10.77.2' };

/**
 * Three machines and two cables: the phone and the computer, and between them one for the server. Each
 * is a network namespace of its own, which sees nothing of this machine's networks.
 */
export class Network {
  #names = {};

  /** `direct`: the phone and the computer reach each other; else the one in the middle only. */
  static async start({ direct = true } = {}) {
    if (process.getuid() !== 0) {
      throw new Error('network namespaces are made by root alone: run this test as root');
    }
    const network = new Network();
    try {
      await network.#build();
      await network.letThrough(direct);
    } catch (error) {
      await network.stop();
      throw error;
    }
    return network;
  }

  /** The address of the machine in the middle. */
  get serverAddress() {
    return `${kSubnets.phone}.1`;
  }

  /** The name of the namespace of a place. */
  nameOf(place) {
    return this.#names[place];
  }

  /** What to put before a command so that it runs at a place: "phone", "host" or "middle". */
  at(place) {
    return ['ip', 'netns', 'exec', this.#names[place]];
  }

  /** A script that runs a program at a place, for whoever can be given a program's name alone. */
  async scriptAt(place, folder, program) {
    const file = path.join(folder, `${path.basename(program)}-at-${place}`);
    await fs.writeFile(file, `#!/bin/sh\nexec ${this.at(place).join(' ')} ${program} "$@"\n`, { mode: 0o755 });
    return file;
  }

  /** Whether the middle hands on what the phone and the computer send each other. */
  letThrough(direct) {
    return this.#set(kMiddle, 'net/ipv4/ip_forward', Number(direct));
  }

  /** Pulls the cable of the phone or of the computer. */
  cut(place) {
    return run('ip', '-n', this.#names[kMiddle], 'link', 'set', place, 'down');
  }

  mend(place) {
    return run('ip', '-n', this.#names[kMiddle], 'link', 'set', place, 'up');
  }

  /** The processes at a place. */
  async pidsAt(place) {
    return (await run('ip', 'netns', 'pids', this.#names[place])).map(Number);
  }

  async stop() {
    for (const name of Object.values(this.#names)) await run('ip', 'netns', 'del', name);
    this.#names = {};
  }

  #set(place, setting, value) {
    return run(...this.at(place), 'sh', '-c', `echo ${value} >/proc/sys/${setting}`);
  }

  async #build() {
    for (const place of [kMiddle, ...kPlaces]) {
      const name = `tovalin-${process.pid}-${place}`;
      await run('ip', 'netns', 'add', name);
      this.#names[place] = name;
      // Its addresses would come seconds later, and a browser drops what it loads when one comes.
      await this.#set(place, 'net/ipv6/conf/all/disable_ipv6', 1);
      await this.#set(place, 'net/ipv6/conf/default/disable_ipv6', 1);
      await run('ip', '-n', name, 'link', 'set', 'lo', 'up');
    }
    const middle = this.#names[kMiddle];
    for (const place of kPlaces) {
      const there = this.#names[place];
      const subnet = kSubnets[place];
      await run('ip', '-n', middle, 'link', 'add', place, 'type', 'veth',
        'peer', 'name', 'cable', 'netns', there);
      await run('ip', '-n', middle, 'addr', 'add', `${subnet}.1/24`, 'dev', place);
      await run('ip', '-n', there, 'addr', 'add', `${subnet}.2/24`, 'dev', 'cable');
      await run('ip', '-n', middle, 'link', 'set', place, 'up');
      await run('ip', '-n', there, 'link', 'set', 'cable', 'up');
      await run('ip', '-n', there, 'route', 'add', 'default', 'via', `${subnet}.1`);
    }
  }
}

async function run(command, ...args) {
  const program = new Program(command, args);
  const { code, signal } = await program.ended();
  if (code !== 0) {
    throw new Error(`${command} ${args.join(' ')}: ${signal ?? code} ${program.err.lines.join(' ')}`);
  }
  return program.out.lines;
}
