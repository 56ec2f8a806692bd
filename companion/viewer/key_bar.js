import { HoldButton } from './hold_button.js';
import { virtualKey } from './key_codes.js';

const kRepeatMs = 70;

// Label, what a screen reader says, and the key's place on a keyboard or the modifier's name.
const kKeys = [
  ['Esc', 'Escape', 'Escape'],
  ['Tab', 'Tab', 'Tab'],
  ['Ctrl', 'Control', null, 'Control'],
  ['Alt', 'Alt', null, 'Alt'],
  ['Shift', 'Shift', null, 'Shift'],
  ['←', 'Left arrow', 'ArrowLeft'],
  ['↑', 'Up arrow', 'ArrowUp'],
  ['↓', 'Down arrow', 'ArrowDown'],
  ['→', 'Right arrow', 'ArrowRight'],
  ['Super', 'Super', null, 'Meta'],
  ['Del', 'Delete', 'Delete'],
  ['Home', 'Home', 'Home'],
  ['End', 'End', 'End'],
  ['PgUp', 'Page up', 'PageUp'],
  ['PgDn', 'Page down', 'PageDown'],
  ...Array.from({ length: 12 }, (_, index) => Array(3).fill(`F${index + 1}`)),
];

/** The keys that phones lack, in a row over their keyboard. */
export class KeyBar {
  #root;
  #keyboard;
  #leave;
  #buttons = [];
  #modifiers = new Map(); // name -> element

  /** `leave()` is called before every key: it may move the computer's caret. */
  constructor(root, keyboard, leave) {
    this.#root = root;
    this.#keyboard = keyboard;
    this.#leave = leave;
    for (const key of kKeys) root.append(this.#button(...key));
    keyboard.sticky.changed = () => this.#showModifiers();
    this.#showModifiers();
  }

  get isShown() {
    return !this.#root.hidden;
  }

  show() {
    this.#root.hidden = false;
    this.#root.parentElement.classList.add('typing');
  }

  hide() {
    for (const button of this.#buttons) button.stop();
    this.#keyboard.sticky.clear();
    this.#root.hidden = true;
    this.#root.parentElement.classList.remove('typing');
  }

  #button(label, name, place, modifier) {
    const element = document.createElement('button');
    element.type = 'button';
    element.textContent = label;
    element.setAttribute('aria-label', name);
    if (modifier) this.#modifiers.set(modifier, element);
    const stroke = (code) => {
      this.#leave();
      this.#keyboard.stroke(code);
    };
    const actions = modifier
      ? {
          tap: ({ timeStamp }) => {
            this.#leave();
            this.#keyboard.sticky.tap(modifier, timeStamp);
          },
          // The key by itself: Super opens the menu of many desktops.
          hold: () => stroke(virtualKey({ code: `${modifier}Left` })),
        }
      : {
          tap: () => stroke(virtualKey({ code: place })),
          hold: () => stroke(virtualKey({ code: place })),
          everyMs: kRepeatMs,
        };
    this.#buttons.push(new HoldButton(element, actions));
    return element;
  }

  #showModifiers() {
    for (const [name, element] of this.#modifiers) {
      const state = this.#keyboard.sticky.state(name);
      element.dataset.state = state;
      element.setAttribute('aria-pressed', String(state !== 'off'));
      // Pressed alone does not tell the two apart.
      element.setAttribute('aria-description', state === 'locked' ? 'locked' : '');
    }
  }
}
