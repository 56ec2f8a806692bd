import { Program } from './program.mjs';

const kPatienceMs = 30000;

/** A desktop of its own: X server and window manager. */
export class Desktop {
  #programs = [];

  /** `options` are the X server's. */
  static async start({ size = '1280x720', options = [] } = {}) {
    const desktop = new Desktop();
    const [width, height] = size.split('x').map(Number);
    desktop.size = { width, height };
    const server = desktop.#run('Xvfb',
      ['-displayfd', '3', '-screen', '0', `${size}x24`, '-nolisten', 'tcp', '-noreset', ...options],
      { extra: 1, env: process.env });
    try {
      // The third log is the descriptor that the display number is written to.
      const [number] = await server.logs[2].next(/^\d+$/);
      desktop.display = `:${number}`;
      const manager = desktop.#run('openbox', ['--sm-disable', '--startup', 'echo MANAGED']);
      await manager.out.next(/^MANAGED$/);
    } catch (error) {
      await desktop.stop();
      throw error;
    }
    return desktop;
  }

  get env() {
    return { ...process.env, DISPLAY: this.display };
  }

  run(command, ...args) {
    return this.#run(command, args);
  }

  /** Runs a short command to its end, which must be a good one. */
  async tell(command, ...args) {
    const program = this.#run(command, args);
    const { code, signal } = await program.ended();
    if (code !== 0) {
      throw new Error(`${command} ${args.join(' ')}: ${signal ?? code} ${program.err.lines}`);
    }
    return program.out.lines;
  }

  /** desktop_probe in one of its modes, once it covers the screen. */
  async probe(...mode) {
    const probe = this.#run(process.env.TOVALIN_PROBE, mode.map(String), { name: 'desktop_probe' });
    await probe.out.next(/^READY$/);
    return probe;
  }

  /** What a phone held before the screen reads off it: the one QR code there. */
  async code() {
    const lines = await this.tell(process.env.TOVALIN_READER);
    return lines.at(-1);
  }

  /** Waits for a window of that name to be on the screen. */
  async windowNamed(name) {
    const deadline = Date.now() + kPatienceMs;
    for (;;) {
      const look = this.#run('xwininfo', ['-name', name]);
      const { code } = await look.ended();
      if (code === 0 && look.out.lines.some((line) => /Map State: IsViewable/.test(line))) return;
      if (Date.now() > deadline) throw new Error(`no window "${name}" on the screen`);
    }
  }

  async stop() {
    for (const program of this.#programs.reverse()) await program.stop();
  }

  #run(command, args, options = {}) {
    const program = new Program(command, args, { env: this.env, ...options });
    this.#programs.push(program);
    return program;
  }
}
