// The computer types the password with pauses of its own and looks at the lock every two seconds.
const kPatienceMs = 6000;

/** Over the dimmed picture while the computer is locked. `unlock(password)` sends it. */
export class UnlockSheet {
  #desk = document.getElementById('desk');
  #sheet = document.getElementById('locked');
  #password = document.getElementById('password');
  #words = document.getElementById('unlock-words');
  #timer = null;
  #locked = false;

  /** `closed()`: the keyboard belongs to the computer again. */
  constructor(unlock, closed) {
    this.closed = closed;
    document.getElementById('unlock-form').addEventListener('submit', (event) => {
      event.preventDefault();
      const password = this.#password.value;
      this.#password.value = '';
      if (!password) return;
      unlock(password);
      this.#say('Unlocking…');
      this.#timer = setTimeout(() => {
        this.#say('Still locked. Was that the right password?');
        this.#password.focus();
      }, kPatienceMs);
    });
    document.getElementById('unlock-hide').addEventListener('click', () => this.#close());
  }

  get isOpen() {
    return !this.#sheet.hidden;
  }

  setLocked(locked) {
    if (locked === this.#locked) return;
    this.#locked = locked;
    this.#desk.classList.toggle('locked', locked);
    if (!locked) return this.#close();
    this.#sheet.hidden = false;
    this.#say('The computer is locked.');
    this.#password.focus();
  }

  #close() {
    clearTimeout(this.#timer);
    this.#password.value = '';
    this.#desk.classList.remove('locked');
    if (this.#sheet.hidden) return;
    this.#sheet.hidden = true;
    this.closed();
  }

  #say(words) {
    clearTimeout(this.#timer);
    this.#words.textContent = words;
  }
}
