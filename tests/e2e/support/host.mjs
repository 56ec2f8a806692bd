import fs from 'node:fs/promises';
import path from 'node:path';
import { Program } from './program.mjs';

export const kStatus = {
  waiting: 'Waiting for a viewer…',
  connecting: 'Viewer connecting…',
  connected: '🟢 Viewer connected',
  reconnecting: 'Reconnecting to server…',
  takenOver: 'Another Mac took over this room',
};

/** The built host with folders of its own, so that it neither sees nor touches the user's. */
export class Host {
  #program = null;
  #desktop;
  #folder;
  #variables;
  #within;

  /**
   * `variables` of the environment come on top of what every host here is given; `within` as in
   * Program.
   */
  constructor(desktop, folder, variables = {}, within = []) {
    this.#within = within;
    this.#desktop = desktop;
    this.#folder = folder;
    this.#variables = variables;
  }

  get settingsFile() {
    return path.join(this.#folder, 'config', 'com.tovalin.host', 'settings.ini');
  }

  /** `paired`: as if it had paired before; then it does not open its pairing window by itself. */
  async start(serverAddress, { paired = true, attended = true } = {}) {
    await fs.mkdir(path.dirname(this.settingsFile), { recursive: true });
    const settings =
      `[General]\ntovalin.serverURL=${serverAddress}\ntovalin.hasPairedOnce=${paired}\n`;
    await fs.writeFile(this.settingsFile, settings, { flag: 'wx', mode: 0o600 }).catch((error) => {
      if (error.code !== 'EEXIST') throw error;
    });
    await this.resume({ attended });
  }

  /** Starts with the settings that are there already. `attended`: with somebody at its terminal. */
  async resume({ attended = true } = {}) {
    this.#program = await this.#launch(attended);
  }

  /** The same person starts the program once more; it ends by itself. */
  async startAgain() {
    const second = await this.#launch(false);
    return second.ended();
  }

  async #launch(attended) {
    const folder = (name) => path.join(this.#folder, name);
    await fs.mkdir(folder('runtime'), { recursive: true, mode: 0o700 });
    const env = {
      PATH: process.env.PATH,
      LANG: 'C.UTF-8',
      HOME: this.#folder,
      DISPLAY: this.#desktop.display,
      XDG_SESSION_TYPE: 'x11',
      XDG_CONFIG_HOME: folder('config'),
      XDG_DATA_HOME: folder('data'),
      XDG_STATE_HOME: folder('state'),
      XDG_CACHE_HOME: folder('cache'),
      XDG_RUNTIME_DIR: folder('runtime'),
      // No bus: nothing of the machine's own session may answer.
      DBUS_SESSION_BUS_ADDRESS: `unix:path=${folder('no-bus')}`,
      DBUS_SYSTEM_BUS_ADDRESS: `unix:path=${folder('no-bus')}`,
      ...this.#variables,
    };
    return new Program(process.env.TOVALIN_HOST, [],
      { name: 'tovalin-host', env, input: attended, within: this.#within });
  }

  get pid() {
    return this.#program.pid;
  }

  get out() {
    return this.#program.out;
  }

  get err() {
    return this.#program.err;
  }

  mark() {
    return this.out.mark();
  }

  /** Waits until the host says that it has this status; since a mark, or ever. */
  status(text, options) {
    const escaped = text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');
    return this.out.next(new RegExp(`^Status: ${escaped}$`), options);
  }

  async pin() {
    const since = this.mark();
    this.#program.command('p');
    const [, pin] = await this.out.next(/^PIN: (\d{6})$/, { since });
    return pin;
  }

  /** The window with the PIN would stand in the picture. */
  closePairingWindow() {
    this.#program.command('c');
  }

  disconnectViewer() {
    this.#program.command('d');
  }

  kill() {
    return this.#program.kill();
  }

  async stop() {
    await this.#program?.stop();
  }
}
