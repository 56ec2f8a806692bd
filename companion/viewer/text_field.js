import { TypedText } from './typed_text.js';

// Long enough for a keyboard to correct the word before; then the computer's caret may have moved.
const kPauseMs = 5000;

/**
 * The invisible text field that receives what is not a plain key: a phone's keyboard, dictation,
 * compositions and dead keys, paste and drop. It lacks autocomplete="off", which on Android takes
 * corrections and suggestions away. It wants no capitals, for it is emptied in mid-sentence, and none
 * of the browser's own continuations of a sentence, which nobody would see.
 */
export class TextField {
  #field;
  #keyboard;
  #typed;
  #timers;
  #pause = null;
  #hasFocus = false;
  #composing = false;

  /** `followsWords`: see TypedText. */
  constructor(field, keyboard, followsWords, timers = globalThis) {
    this.#field = field;
    this.#keyboard = keyboard;
    this.#timers = timers;
    this.#typed = new TypedText((remove, insert) => keyboard.edit(remove, insert), followsWords);
    // Not earlier: some browsers put back what was there before a reload.
    field.addEventListener('focus', () => {
      this.#hasFocus = true;
      this.#fill(TypedText.blank);
    });
    field.addEventListener('blur', () => {
      this.leave();
      this.#hasFocus = false;
    });
    field.addEventListener('compositionstart', () => {
      this.#composing = true;
    });
    field.addEventListener('compositionupdate', ({ data }) => this.#typed.composing(data));
    field.addEventListener('compositionend', ({ data }) => {
      this.#composing = false;
      this.#typed.composed(data);
      this.#changed();
    });
    field.addEventListener('input', () => this.#changed());
    field.addEventListener('paste', (event) => {
      event.preventDefault();
      this.leave();
      this.#keyboard.type(event.clipboardData.getData('text/plain'));
    });
  }

  focus() {
    this.#field.focus({ preventScroll: true });
  }

  blur() {
    this.#field.blur();
  }

  /**
   * Before anything that may move the computer's caret: what is being composed is sent as it is,
   * and no later correction reaches back to it.
   */
  leave() {
    if (!this.#hasFocus) return;
    this.#timers.clearTimeout(this.#pause);
    this.#typed.leave(this.#field.value);
    this.#composing = false;
    if (this.#field.value !== TypedText.blank) this.#fill(TypedText.blank);
  }

  #changed() {
    this.#typed.changed(this.#field.value);
    this.#timers.clearTimeout(this.#pause);
    // A keyboard in mid-composition loses its place when the content changes under it.
    if (this.#composing) return;
    const tidied = this.#typed.tidied();
    if (tidied !== null) this.#fill(tidied);
    this.#pause = this.#timers.setTimeout(() => {
      if (!this.#composing && !this.#typed.isInWord) this.leave();
    }, kPauseMs);
  }

  #fill(content) {
    this.#field.value = content;
    this.#field.setSelectionRange(content.length, content.length);
  }
}
