import { fileURLToPath } from 'node:url';
import { Program } from './program.mjs';

const kViewer = fileURLToPath(new URL('../../../companion/viewer', import.meta.url));

/** The built server with the viewer's page. It can be killed and started again where it was. */
export class SignalServer {
  port = 0;

  constructor(stateFolder) {
    this.#state = stateFolder;
  }

  #state;
  #program = null;

  async start() {
    this.#program = new Program(
      process.env.TOVALIN_SIGNAL,
      ['--listen', `127.0.0.1:${this.port}`, '--state', this.#state, '--viewer', kViewer],
      { name: 'tovalin-signal' });
    const [, port] = await this.#program.out.next(/^READY (\d+)$/);
    this.port = Number(port);
  }

  get log() {
    return this.#program.err;
  }

  get pageAddress() {
    return `http://127.0.0.1:${this.port}/`;
  }

  get hostAddress() {
    return `ws://127.0.0.1:${this.port}/signal`;
  }

  kill() {
    return this.#program.kill();
  }

  async stop() {
    await this.#program?.stop();
  }
}
