import { HeldModifiers } from './held_modifiers.js';
import { isModifier, modifierFlags, virtualKey } from './key_codes.js';

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
  #modifiers;
  // Place of the key -> virtual key code: what a key means may change while it is held, with the
  // number lock for instance.
  #held = new Map();

  constructor(control, isMac = false) {
    this.#control = control;
    this.#isMac = isMac;
    this.#modifiers = new HeldModifiers((code, down) => control.key(code, down));
  }

  /** Returns whether the event was used up; otherwise it is left to the text field. */
  keyDown(event) {
    // Autofill sends events that name no key at all.
    if (!event.key) return false;
    if (event.isComposing || event.key === 'Process' || event.key === 'Dead') return false;
    if (isModifier(event.code)) return this.#modifierDown(event);
    if (this.#makesText(event)) {
      this.type(event.key);
      return true;
    }
    const code = virtualKey(event);
    if (code === undefined) return false;
    this.#modifiers.engage();
    this.#held.set(event.code, code);
    this.#control.key(code, true, modifierFlags(event));
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
    this.#modifiers.disengage();
    for (const part of text.split(/(\r\n|\r|\n|\t)/)) {
      if (part === '\t') this.tap(kTab);
      else if (/^[\r\n]/.test(part)) this.tap(kReturn);
      else for (const piece of pieces(part)) this.#control.type(piece);
    }
  }

  backspace() {
    this.tap(kBackspace);
  }

  tap(code) {
    this.#control.key(code, true);
    this.#control.key(code, false);
  }

  /** The host is about to get a press or scroll that held modifiers change the meaning of. */
  engage() {
    this.#modifiers.engage();
  }

  releaseAll() {
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
