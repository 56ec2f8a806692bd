import { CodeScanner } from './code_scanner.js';
import { Countdown } from './countdown.js';
import { LinkField } from './link_field.js';
import { lockedOutWords, pairingTrouble } from './notices.js';
import { parsePairLink } from './pair_link.js';

const kDigits = 6;

/**
 * The pairing screen: a PIN, a link or the code on the computer's screen. `actions`: pair(proof,
 * deviceName), called as soon as there is a whole PIN or link; home().
 */
export class PairingView {
  #root = document.getElementById('pairing');
  #pin = document.getElementById('pin');
  #name = document.getElementById('device-name');
  #button = document.getElementById('pair');
  #trouble = document.getElementById('pairing-trouble');
  #home = document.getElementById('pairing-home');
  #lockedOut = new Countdown((seconds) => this.#lockedOutFor(seconds));
  #link;
  #scanner;
  #actions;
  #waiting = false;

  constructor(deviceName, actions) {
    this.#actions = actions;
    this.#name.value = deviceName;
    const useLink = ({ host, token }) => this.#pair({ host, token });
    this.#link = new LinkField(useLink);
    this.#scanner = new CodeScanner(useLink);
    this.#home.addEventListener('click', actions.home);
    this.#pin.addEventListener('input', () => this.#entered());
    // The field has room for six characters, which is too few for "402 715" or a link.
    this.#pin.addEventListener('paste', (event) => {
      event.preventDefault();
      const text = event.clipboardData.getData('text');
      const link = parsePairLink(text);
      if (link) return useLink(link);
      this.#pin.value = text;
      this.#entered();
    });
    document.getElementById('pairing-form').addEventListener('submit', (event) => {
      event.preventDefault();
      this.#trySubmit();
    });
    this.#enable();
  }

  get deviceName() {
    return this.#name.value.trim();
  }

  show({ pairing, trouble, retryAfter, computers }) {
    const shownBefore = !this.#root.hidden;
    this.#root.hidden = false;
    this.#home.hidden = computers.length === 0;
    this.#waiting = pairing;
    this.#trouble.textContent = trouble ? pairingTrouble(trouble) : '';
    this.#lockedOut.stop();
    if (trouble === 'locked-out' && retryAfter > 0) this.#lockedOut.start(retryAfter);
    // What was right but came at the wrong moment can be sent again as it is.
    if (trouble && !['no-server', 'host-offline'].includes(trouble)) this.#pin.value = '';
    this.#enable();
    if (!shownBefore || trouble) this.#pin.focus();
  }

  hide() {
    this.#root.hidden = true;
    this.#pin.value = '';
    this.#lockedOut.stop();
    this.#link.close();
    this.#scanner.close();
  }

  #entered() {
    // Paste and autofill bring spaces and whatever stood around the PIN.
    const digits = this.#pin.value.replace(/\D/g, '').slice(0, kDigits);
    if (digits !== this.#pin.value) this.#pin.value = digits;
    if (!this.#lockedOut.isRunning) this.#trouble.textContent = '';
    this.#enable();
    this.#trySubmit();
  }

  #trySubmit() {
    if (this.#pin.value.length === kDigits) this.#pair({ pin: this.#pin.value });
  }

  #pair(proof) {
    if (!this.#waiting && !this.#lockedOut.isRunning) this.#actions.pair(proof, this.deviceName);
  }

  // The PIN that was typed meanwhile is sent once the server looks at it again.
  #lockedOutFor(seconds) {
    this.#trouble.textContent = seconds > 0 ? lockedOutWords(seconds) : '';
    this.#enable();
    if (seconds === 0) this.#trySubmit();
  }

  #enable() {
    this.#pin.readOnly = this.#waiting;
    this.#button.disabled =
      this.#waiting || this.#lockedOut.isRunning || this.#pin.value.length < kDigits;
    this.#button.textContent = this.#waiting ? 'Connecting…' : 'Connect';
  }
}
