import { fileURLToPath } from 'node:url';
import { Program } from './program.mjs';

const kViewer = fileURLToPath(new URL('../../../companion/viewer', import.meta.url));

/** The built server with the viewer's page. It can be killed and started again where it was. */
export class SignalServer {
  port = 0;

  /** `within` as in Program, `options` on top of the usual ones. */
  constructor(stateFolder, { address = '127.0.0.1', within = [], options = [] } = {}) {
    this.#state = stateFolder;
    this.#address = address;
    this.#within = within;
    this.#options = options;
  }

  #state;
  #address;
  #within;
  #options;
  #program = null;

  async start() {
    this.#program = new Program(
      process.env.TOVALIN_SIGNAL,
      [
        '--listen', `${this.#address}:${this.port}`, '--state', this.#state, '--viewer', kViewer,
        ...this.#options,
      ],
      { name: 'tovalin-signal', within: this.#within });
    const [, port] = await this.#program.out.next(/^READY (\d+)$/);
    this.port = Number(port);
  }

  get log() {
    return this.#program.err;
  }

  get pageAddress() {
    return `http://${this.#address}:${this.port}/`;
  }

  get hostAddress() {
    return `ws://${this.#address}:${this.port}/signal`;
  }

  kill() {
    return this.#program.kill();
  }

  async stop() {
    await this.#program?.stop();
  }
}
