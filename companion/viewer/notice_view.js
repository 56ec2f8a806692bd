import { noticeFor } from './notices.js';

/** What is going on when there is no picture. `again()` is the main button's, `home()` the other's. */
export class NoticeView {
  #root = document.getElementById('notice');
  #title = document.getElementById('notice-title');
  #text = document.getElementById('notice-text');
  #busy = document.getElementById('notice-busy');
  #action = document.getElementById('notice-action');

  constructor(again, home) {
    this.#action.addEventListener('click', again);
    document.getElementById('notice-home').addEventListener('click', home);
  }

  show({ notice, hostName }) {
    const { title, text, busy, action } = noticeFor(notice, hostName);
    this.#root.hidden = false;
    this.#title.textContent = title;
    this.#text.textContent = text;
    this.#busy.hidden = !busy;
    this.#action.hidden = !action;
    this.#action.textContent = action;
  }

  hide() {
    this.#root.hidden = true;
  }
}
