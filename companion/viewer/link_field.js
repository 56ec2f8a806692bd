import { parsePairLink } from './pair_link.js';

/** A field for a pairing link, out of sight until it is asked for. `found(link)`: a whole one is there. */
export class LinkField {
  #toggle = document.getElementById('use-link');
  #form = document.getElementById('link-form');
  #field = document.getElementById('link');
  #trouble = document.getElementById('link-trouble');
  #found;

  constructor(found) {
    this.#found = found;
    this.#toggle.addEventListener('click', () => this.#open(this.#form.hidden));
    this.#field.addEventListener('input', () => {
      this.#trouble.textContent = '';
      if (parsePairLink(this.#field.value)) this.#use();
    });
    this.#form.addEventListener('submit', (event) => {
      event.preventDefault();
      this.#use();
    });
  }

  close() {
    this.#open(false);
  }

  #use() {
    const link = parsePairLink(this.#field.value);
    if (!link) {
      this.#trouble.textContent =
        'That is not a pairing link. It begins with “tovalin://pair” or is this page’s address.';
      return this.#field.focus();
    }
    this.#field.value = '';
    this.#found(link);
  }

  #open(open) {
    this.#form.hidden = !open;
    this.#toggle.setAttribute('aria-expanded', String(open));
    this.#field.value = '';
    this.#trouble.textContent = '';
    if (open) this.#field.focus();
  }
}
