import { canReadCodes, CodeReader } from './code_reader.js';

/** The camera's picture over the pairing screen. `found(link)`: it saw a pairing code. */
export class CodeScanner {
  #button = document.getElementById('scan');
  #dialog = document.getElementById('scanner');
  #words = document.getElementById('scanner-words');
  #reader;

  constructor(found) {
    this.#reader = new CodeReader(document.getElementById('camera'), {
      found: (link) => {
        this.close();
        found(link);
      },
      strange: () => this.#say('That is another code. Look for the one in Tovalin Host.'),
      failed: ({ name }) => this.#say(
        name === 'NotAllowedError'
          ? 'The camera is not allowed here. Allow it in the browser’s settings, or type the PIN.'
          : 'The camera cannot be used just now. Type the PIN instead.'),
    });
    this.#button.addEventListener('click', () => this.#open());
    document.getElementById('scanner-cancel').addEventListener('click', () => this.close());
    this.#dialog.addEventListener('close', () => this.#reader.stop());
    // Nobody wants a camera that goes on looking out of a pocket.
    document.addEventListener('visibilitychange', () => document.hidden && this.close());
    addEventListener('pagehide', () => this.close());
    this.#offer();
  }

  close() {
    this.#reader.stop();
    if (this.#dialog.open) this.#dialog.close();
  }

  async #offer() {
    this.#button.hidden = !(await canReadCodes());
  }

  #open() {
    this.#say('Point the camera at the code on the computer’s screen.');
    this.#dialog.showModal();
    this.#reader.start();
  }

  #say(words) {
    this.#words.textContent = words;
  }
}
