// The computer types the password with pauses of its own and looks at the lock every two seconds.
const kPatienceMs = 6000;

/**
 * Over the dimmed picture while the computer is locked. The password is kept nowhere: it leaves the
 * field when it is sent, and whenever the sheet or the page goes out of sight. The field calls itself
 * a one-time code: browsers neither keep nor offer those, while they ignore "off" for passwords.
 */
export class UnlockSheet {
  #desk = document.getElementById('desk');
  #sheet = document.getElementById('locked');
  #password = document.getElementById('password');
  #show = document.getElementById('password-show');
  #again = document.getElementById('unlock-again');
  #words = document.getElementById('unlock-words');
  #computer;
  #closed;
  #timer = null;
  #locked = false;

  /** `computer`: isConnected(), unlock(password). `closed()`: the keyboard is the computer's again. */
  constructor(computer, closed) {
    this.#computer = computer;
    this.#closed = closed;
    document.getElementById('unlock-form').addEventListener('submit', (event) => {
      event.preventDefault();
      this.#unlock();
    });
    document.getElementById('unlock-hide').addEventListener('click', () => {
      this.#close();
      this.#again.hidden = false;
    });
    this.#again.addEventListener('click', () => this.#open());
    // A phone's keyboard would close if the focus went to the button.
    this.#show.addEventListener('mousedown', (event) => event.preventDefault());
    this.#show.addEventListener('click', () => this.#reveal(this.#password.type === 'password'));
  }

  get isOpen() {
    return !this.#sheet.hidden;
  }

  setLocked(locked) {
    if (locked === this.#locked) return;
    this.#locked = locked;
    if (locked) this.#open();
    else this.#close();
  }

  /** The page goes out of sight: what was typed so far must not be found there later. */
  forget() {
    this.#password.value = '';
    this.#reveal(false);
  }

  #open() {
    this.#again.hidden = true;
    this.#desk.classList.add('locked');
    this.#sheet.hidden = false;
    this.#say('The computer is locked.');
    this.#password.focus();
  }

  #unlock() {
    if (!this.#password.value) return;
    if (!this.#computer.isConnected()) {
      this.#say('Not connected just now. Try again in a moment.');
      return;
    }
    this.#computer.unlock(this.#password.value);
    this.forget();
    this.#say('Unlocking…');
    this.#timer = setTimeout(() => {
      this.#say('Still locked. Was that the right password?');
      this.#password.focus();
    }, kPatienceMs);
  }

  #close() {
    clearTimeout(this.#timer);
    this.forget();
    this.#again.hidden = true;
    this.#desk.classList.remove('locked');
    if (this.#sheet.hidden) return;
    this.#sheet.hidden = true;
    this.#closed();
  }

  #reveal(shown) {
    this.#password.type = shown ? 'text' : 'password';
    this.#show.setAttribute('aria-pressed', String(shown));
  }

  #say(words) {
    clearTimeout(this.#timer);
    this.#words.textContent = words;
  }
}
