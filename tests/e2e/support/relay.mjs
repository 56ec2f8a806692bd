import fs from 'node:fs/promises';
import path from 'node:path';
import { Program } from './program.mjs';

const kPort = 3478;

/** Debian's TURN server, coturn, for visits that find no direct way. */
export class Relay {
  #program = null;
  #folder;
  #address;

  constructor(folder, address) {
    this.#folder = folder;
    this.#address = address;
  }

  get url() {
    return `turn:${this.#address}:${kPort}`;
  }

  /** Shared with the signalling server, which makes the visits' passwords of it. */
  get secretFile() {
    return path.join(this.#folder, 'secret');
  }

  async start(within = []) {
    const secret = 'between these two servers alone';
    await fs.mkdir(this.#folder, { recursive: true });
    await fs.writeFile(this.secretFile, `${secret}\n`, { mode: 0o600 });
    this.#program = new Program('turnserver', [
      '-n', '-v', '--no-cli', '--no-tls', '--no-dtls', '--realm=tovalin',
      '--use-auth-secret', `--static-auth-secret=${secret}`,
      `--listening-ip=${this.#address}`, `--relay-ip=${this.#address}`, `--listening-port=${kPort}`,
      `--userdb=${path.join(this.#folder, 'users')}`, `--pidfile=${path.join(this.#folder, 'pid')}`,
      '--log-file=stdout',
    ], { name: 'turnserver', within });
    await this.#program.out.next(/UDP listener opened on/);
  }

  async stop() {
    await this.#program?.stop();
  }
}
