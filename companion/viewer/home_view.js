import { ComputerSheet } from './computer_sheet.js';
import { nameOf } from './computer_store.js';
import { lastUsedWords } from './last_used.js';
import { presenceWords } from './notices.js';

/** The list of computers. `actions`: open(hostId), rename(hostId, alias), forget(hostId), add(). */
export class HomeView {
  #root = document.getElementById('home');
  #list = document.getElementById('computers');
  #trouble = document.getElementById('home-trouble');
  #row = document.getElementById('computer-row');
  #sheet;
  #actions;

  constructor(actions) {
    this.#actions = actions;
    this.#sheet = new ComputerSheet(actions);
    document.getElementById('add-computer').addEventListener('click', actions.add);
  }

  show(session) {
    this.#root.hidden = false;
    this.#trouble.textContent =
      session.serverAway ? 'No connection to the server. Trying again…' : '';
    const focused = document.activeElement?.closest('.computer')?.dataset;
    const computers = session.computers;
    const rows = computers.map((computer) => this.#rowOf(computer, session));
    this.#list.replaceChildren(...rows);
    // The list is made anew while somebody may be on their way through it.
    if (focused) rows.find(({ dataset }) => dataset.host === focused.host)?.firstElementChild.focus();
  }

  hide() {
    this.#root.hidden = true;
    this.#sheet.close();
  }

  #rowOf(computer, session) {
    const row = this.#row.content.firstElementChild.cloneNode(true);
    const part = (name) => row.querySelector(`.${name}`);
    const { hostId, lastUsed } = computer;
    const state = session.stateOf(hostId);
    const name = nameOf(computer) || 'Computer';
    row.dataset.host = hostId;
    row.dataset.state = state;
    part('computer-name').textContent = name;
    part('computer-state').textContent = presenceWords(state);
    part('computer-used').textContent = lastUsedWords(lastUsed, Date.now());
    part('computer-open').addEventListener('click', () => this.#actions.open(hostId));
    const more = part('computer-more');
    more.setAttribute('aria-label', `Rename or forget ${name}`);
    more.addEventListener('click', () => this.#sheet.open(computer));
    return row;
  }
}
