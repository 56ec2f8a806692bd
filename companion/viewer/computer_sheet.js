import { nameOf } from './computer_store.js';

/** Over the list: renames a computer or forgets it, which it asks about once. */
export class ComputerSheet {
  #dialog = document.getElementById('computer-sheet');
  #title = document.getElementById('computer-title');
  #rename = document.getElementById('rename-form');
  #alias = document.getElementById('alias');
  #question = document.getElementById('forget-question');
  #questionTitle = document.getElementById('forget-title');
  #hostId = '';

  /** `actions`: rename(hostId, alias), forget(hostId). */
  constructor(actions) {
    const button = (id, action) => document.getElementById(id).addEventListener('click', action);
    this.#rename.addEventListener('submit', (event) => {
      event.preventDefault();
      this.close();
      actions.rename(this.#hostId, this.#alias.value);
    });
    button('rename-cancel', () => this.close());
    button('forget-ask', () => this.#ask(true));
    button('forget-keep', () => this.close());
    button('forget', () => {
      this.close();
      actions.forget(this.#hostId);
    });
  }

  open(computer) {
    const name = nameOf(computer) || 'Computer';
    this.#hostId = computer.hostId;
    this.#title.textContent = name;
    this.#questionTitle.textContent = `Forget ${name}?`;
    this.#alias.value = computer.alias;
    this.#alias.placeholder = computer.hostName;
    this.#ask(false);
    if (!this.#dialog.open) this.#dialog.showModal();
  }

  close() {
    if (this.#dialog.open) this.#dialog.close();
  }

  #ask(asking) {
    this.#rename.hidden = asking;
    this.#question.hidden = !asking;
    this.#dialog.setAttribute('aria-labelledby', asking ? 'forget-title' : 'computer-title');
    if (asking) document.getElementById('forget-keep').focus();
  }
}
