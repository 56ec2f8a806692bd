import { pairingTrouble } from './notices.js';

const kDigits = 6;

/** The pairing screen. `submit(pin, deviceName)` is called as soon as the sixth digit is there. */
export class PairingView {
  #root = document.getElementById('pairing');
  #pin = document.getElementById('pin');
  #name = document.getElementById('device-name');
  #button = document.getElementById('pair');
  #trouble = document.getElementById('pairing-trouble');
  #submit;
  #waiting = false;

  constructor(deviceName, submit) {
    this.#submit = submit;
    this.#name.value = deviceName;
    this.#pin.addEventListener('input', () => this.#entered());
    document.getElementById('pairing-form').addEventListener('submit', (event) => {
      event.preventDefault();
      this.#trySubmit();
    });
    this.#enable();
  }

  get deviceName() {
    return this.#name.value.trim();
  }

  show({ pairing, trouble }) {
    const shownBefore = !this.#root.hidden;
    this.#root.hidden = false;
    this.#waiting = pairing;
    this.#trouble.textContent = trouble ? pairingTrouble(trouble) : '';
    // What was right but came at the wrong moment can be sent again as it is.
    if (trouble && !['no-server', 'host-offline'].includes(trouble)) this.#pin.value = '';
    this.#enable();
    if (!shownBefore || trouble) this.#pin.focus();
  }

  hide() {
    this.#root.hidden = true;
    this.#pin.value = '';
  }

  #entered() {
    // Paste and autofill bring spaces and the "123 456" of the computer's window.
    const digits = this.#pin.value.replace(/\D/g, '').slice(0, kDigits);
    if (digits !== this.#pin.value) this.#pin.value = digits;
    this.#trouble.textContent = '';
    this.#enable();
    this.#trySubmit();
  }

  #trySubmit() {
    if (!this.#waiting && this.#pin.value.length === kDigits) {
      this.#submit(this.#pin.value, this.deviceName);
    }
  }

  #enable() {
    this.#pin.readOnly = this.#waiting;
    this.#button.disabled = this.#waiting || this.#pin.value.length < kDigits;
    this.#button.textContent = this.#waiting ? 'Connecting…' : 'Connect';
  }
}
