import { figureLines, figuresBetween } from './figures.js';

const kEveryMs = 1000;

/** The visit's figures over the picture, once a second while they are wanted. */
export class FiguresView {
  #root = document.getElementById('figures');
  #switch = document.getElementById('show-figures');
  #report;
  #before = [];
  #timer = null;
  #shown = false;
  #wanted = false;

  /** `report` brings the browser's statistics of the visit: async, a list. */
  constructor(report) {
    this.#report = report;
  }

  toggle() {
    this.#wanted = !this.#wanted;
    this.#switch.setAttribute('aria-pressed', String(this.#wanted));
    this.#update();
  }

  /** There is a visit to tell of, or none. */
  setLive(live) {
    this.#shown = live;
    this.#update();
  }

  #update() {
    const on = this.#wanted && this.#shown;
    if (on === (this.#timer !== null)) return;
    this.#root.hidden = !on;
    clearInterval(this.#timer);
    this.#timer = on ? setInterval(() => this.#look(), kEveryMs) : null;
    this.#before = [];
    if (on) this.#look();
  }

  async #look() {
    const timer = this.#timer;
    const report = await this.#report();
    if (timer !== this.#timer) return;
    const parts = figureLines(figuresBetween(this.#before, report)).flatMap(([label, value]) => [
      element('dt', label), element('dd', value)]);
    this.#root.replaceChildren(...parts);
    this.#before = report;
  }
}

function element(name, text) {
  return Object.assign(document.createElement(name), { textContent: text });
}
