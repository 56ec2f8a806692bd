import { HeldModifiers } from './held_modifiers.js';
import { flagOf, isModifier, modifierFlags, virtualKey } from './key_codes.js';
import { keyFor } from './key_places.js';
import { StickyModifiers } from './sticky_modifiers.js';

const kReturn = 0x24;
const kTab = 0x30;
const kBackspace = 0x33;
// A message stays far below what a data channel takes at once.
const kCharactersPerMessage = 1000;

/**
 * Keys of a hardware keyboard and text from anywhere else. Printable keys travel as the text they
 * make here, so that people get the characters of their own keyboard; every other key, and every
 * shortcut, travels as the key itself, by its place on the keyboard.
 */
export class Keyboard {
  #control;
  #isMac;
  #fieldWants;
  #language;
  #modifiers;
  // Place of the key -> virtual key code: what a key means may change while it is held, with the
  // number lock for instance.
  #held = new Map();

  /**
   * `fieldWants(event)`: whether text goes to the text field, where a phone can correct it.
   * `language`: the tag of the one whose keyboard the computer is likely to have.
   */
  constructor(control, { isMac = false, fieldWants = () => false, language = 'en' } = {}) {
    this.#control = control;
    this.#isMac = isMac;
    this.#fieldWants = fieldWants;
    this.#language = language;
    this.#modifiers = new HeldModifiers((code, down) => control.key(code, down));
    /** Set by the key bar for the keys to come. */
    this.sticky = new StickyModifiers(this.#modifiers);
  }

  /** Returns whether the event was used up; otherwise it is left to the text field. */
  keyDown(event) {
    // Autofill sends events that name no key at all.
    if (!event.key) return false;
    // WebKit reports the key that ends a composition after its end, with this code.
    if (event.isComposing || event.keyCode === 229) return false;
    if (event.key === 'Process' || event.key === 'Dead') return false;
    if (isModifier(event.code)) return this.#modifierDown(event);
    if (this.#isForField(event)) return false;
    if (this.#makesText(event)) {
      this.type(event.key);
      return true;
    }
    const code = virtualKey(event);
    if (code === undefined) return false;
    this.#modifiers.engage();
    this.#held.set(event.code, code);
    this.#control.key(code, true, modifierFlags(event) | this.sticky.flags);
    this.sticky.used();
    return true;
  }

  keyUp(event) {
    if (isModifier(event.code)) {
      // Macintosh browsers swallow the release of every key that goes up while Command is down.
      if (event.key === 'Meta') this.#releaseKeys();
      this.#modifiers.release(virtualKey(event));
      return true;
    }
    const code = this.#held.get(event.code);
    if (code === undefined) return false;
    this.#held.delete(event.code);
    this.#control.key(code, false, modifierFlags(event));
    return true;
  }

  /** Types text; line ends and tabs become the keys of that name. */
  type(text) {
    if (text === '') return;
    this.#modifiers.disengage();
    for (const part of text.split(/(\r\n|\r|\n|\t)/)) {
      if (part === '\t') this.#tap(kTab);
      else if (/^[\r\n]/.test(part)) this.#tap(kReturn);
      else for (const piece of pieces(part)) this.#control.type(piece);
    }
  }

  /**
   * A change of the text before the caret: so many characters taken away, then others put there.
   * Returns whether just that was done; a sticky modifier makes shortcuts of it.
   */
  edit(remove, insert) {
    // Both at once is a correction by the phone, not a key that somebody pressed.
    const isKey = remove === 0 || insert === '';
    if (isKey && this.sticky.isOn) return this.#editWithSticky(remove, insert);
    if (remove > 0) this.#modifiers.disengage();
    for (let left = remove; left > 0; left -= 1) this.#tap(kBackspace);
    this.type(insert);
    return true;
  }

  /** Presses and lifts a key, with the sticky modifiers. */
  stroke(code, flags = 0) {
    this.#modifiers.engage();
    this.#tap(code, flags | this.sticky.flags);
    this.sticky.used();
  }

  /** The host is about to get a press or scroll that held modifiers change the meaning of. */
  engage() {
    this.#modifiers.engage();
  }

  releaseAll() {
    this.sticky.clear();
    this.#releaseKeys();
    this.#modifiers.releaseAll();
  }

  #modifierDown(event) {
    // What the caps lock and the third level make of a key is already in the text. On a Macintosh
    // Option makes characters too, so the host hears of it only with a key that makes none.
    const makesCharacters = event.key === 'AltGraph' || event.code === 'CapsLock';
    if (!event.repeat && !makesCharacters) {
      this.#modifiers.press(virtualKey(event), this.#isMac && event.key === 'Alt');
    }
    return true;
  }

  #makesText(event) {
    if ([...event.key].length !== 1) return false;
    if (event.getModifierState('AltGraph')) return true;
    return !event.ctrlKey && !event.metaKey && (!event.altKey || this.#isMac);
  }

  #isForField(event) {
    if (!this.#fieldWants(event)) return false;
    if (this.#makesText(event)) return true;
    return modifierFlags(event) === 0 && (event.key === 'Backspace' || event.key === 'Enter');
  }

  #editWithSticky(remove, insert) {
    let isText = remove === 0;
    for (let left = remove; left > 0; left -= 1) this.stroke(kBackspace);
    const letters = [...insert];
    while (letters.length > 0 && this.sticky.isOn) {
      const letter = letters.shift();
      const key = keyFor(letter, this.#language);
      if (this.sticky.isShiftAlone && !/\s/.test(letter)) {
        // Shift makes a capital on any layout; the key of that place might be another letter's.
        const capital = letter.toLocaleUpperCase();
        this.type([...capital].length === 1 ? capital : letter);
        this.sticky.used();
      } else if (key) {
        isText = false;
        this.stroke(key.code, key.shift ? flagOf('Shift') : 0);
      } else {
        this.type(letter);
        this.sticky.used();
      }
    }
    this.type(letters.join(''));
    return isText;
  }

  #tap(code, flags = 0) {
    this.#control.key(code, true, flags);
    this.#control.key(code, false, flags);
  }

  #releaseKeys() {
    for (const code of this.#held.values()) this.#control.key(code, false);
    this.#held.clear();
  }
}

function* pieces(text) {
  const characters = [...text];
  for (let start = 0; start < characters.length; start += kCharactersPerMessage) {
    yield characters.slice(start, start + kCharactersPerMessage).join('');
  }
}
