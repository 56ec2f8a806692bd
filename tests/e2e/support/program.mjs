import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { LineLog } from './line_log.mjs';

const kPatienceMs = 5000;

/** One program, from start to end. What it prints is in `out` and `err`. */
export class Program {
  #child;
  #closed;

  /**
   * `extra` adds file descriptors from 3 on, each read into a log of its own: `logs`. Without `input`
   * the program reads from /dev/null, as one that the desktop started. `within`: the words of another
   * command that becomes this one, `ip netns exec NAME` for instance.
   */
  constructor(command, args = [], options = {}) {
    const { name = command, env = process.env, extra = 0, input = true, within = [] } = options;
    this.name = name;
    // A test that is killed must not leave its programs behind.
    const words = ['--pdeathsig', 'KILL', '--', ...within, command, ...args];
    const stdio = [input ? 'pipe' : 'ignore', 'pipe', 'pipe', ...Array(extra).fill('pipe')];
    this.#child = spawn('setpriv', words, { env, stdio });
    this.logs = this.#child.stdio.slice(1).map((stream) => {
      const log = new LineLog(name);
      log.follow(stream);
      return log;
    });
    [this.out, this.err] = this.logs;
    // A program that has just ended cannot be written to; its end is reported by the logs.
    this.#child.stdin?.on('error', () => {});
    this.#closed = once(this.#child, 'close').then(([code, signal]) => {
      this.exit = { code, signal };
      for (const log of this.logs) log.end(`ended with ${signal ?? code}`);
    });
  }

  exit = null;

  get pid() {
    return this.#child.pid;
  }

  command(line) {
    this.#child.stdin.write(`${line}\n`);
  }

  /** As a crash: nothing is tidied up. */
  async kill() {
    this.#child.kill('SIGKILL');
    await this.#closed;
  }

  /** Asks, and after a while insists. */
  async stop() {
    if (this.exit) return;
    this.#child.kill('SIGTERM');
    const insist = setTimeout(() => this.#child.kill('SIGKILL'), kPatienceMs);
    await this.#closed;
    clearTimeout(insist);
  }

  async ended() {
    await this.#closed;
    return this.exit;
  }
}
