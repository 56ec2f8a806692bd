// A phone's text field as its keyboards use it, and the program on the computer that is typed into.
import { characters } from '../../../companion/viewer/characters.js';
import { FakeClock } from './fake_world.mjs';
import { Keyboard } from '../../../companion/viewer/keyboard.js';
import { TextField } from '../../../companion/viewer/text_field.js';

const kReturn = 0x24;
const kTab = 0x30;
const kBackspace = 0x33;

/** Stands for the control channel, the computer and an editor there with the caret at its end. */
export class FakeEditor {
  text = '';
  /** Every text sent, in order, and '⌫' for each backspace. */
  log = [];

  type(text) {
    this.log.push(text);
    this.text += text;
  }

  key(code, down) {
    if (!down) return;
    if (code === kBackspace) {
      this.log.push('⌫');
      this.text = characters(this.text).slice(0, -1).join('');
    } else if (code === kReturn) this.type('\n');
    else if (code === kTab) this.type('\t');
  }
}

/**
 * The field in the page. `wanted` is what the person believes to have written: the content, and
 * what the page has taken out of the field since.
 */
export class FakeField extends EventTarget {
  #content = '';
  #before = '';
  #known = true; // whether the page has been told of the content
  #composition = null;

  get value() {
    return this.#content;
  }

  set value(content) {
    const old = visible(this.#content);
    if (this.#known) this.#before += old.slice(0, old.length - visible(content).length);
    this.#known = true;
    this.#content = content;
    this.#composition = null;
  }

  setSelectionRange() {}

  focus() {
    this.#tell('focus', {});
  }

  blur() {
    this.#tell('blur', {});
  }

  /** The browser puts text there without a word. */
  restore(text) {
    this.#content = text;
    this.#known = false;
  }

  get wanted() {
    return this.#before + visible(this.#content);
  }

  get isComposing() {
    return this.#composition !== null;
  }

  /** What the keyboard sees before the caret. */
  get seen() {
    return visible(this.#content);
  }

  /** Sets the text of the composition, and begins one where there is none. */
  compose(text) {
    this.#begin('');
    this.#content = this.#content.slice(0, this.#content.length - this.#composition.length) + text;
    this.#composition = text;
    this.#tell('compositionupdate', { data: text });
    this.#tell('input', { inputType: 'insertCompositionText', data: text, isComposing: true });
  }

  /** Underlines the last so many letters again, to go on with them. */
  recompose(length) {
    const word = this.#content.slice(this.#content.length - length);
    this.#begin(word);
    this.#tell('compositionupdate', { data: word });
  }

  finish() {
    const data = this.#composition;
    this.#composition = null;
    this.#tell('compositionend', { data });
  }

  commit(text) {
    this.compose(text);
    this.finish();
  }

  /** As WebKit ends a composition: it takes the interim text out first. */
  exchange(text) {
    this.#content = this.#content.slice(0, this.#content.length - this.#composition.length);
    this.#tell('input', { inputType: 'deleteCompositionText', data: null, isComposing: true });
    this.#content += text;
    this.#tell('input', { inputType: 'insertFromComposition', data: text, isComposing: true });
    this.#composition = null;
    this.#tell('compositionend', { data: text });
  }

  insert(text, inputType = 'insertText') {
    this.#content += text;
    this.#tell('input', { inputType, data: text, isComposing: this.isComposing });
  }

  /** Takes so many UTF-16 units away; of what is before the field's text only one character. */
  delete(length = 1, inputType = 'deleteContentBackward') {
    if (visible(this.#content) === '') {
      this.#before = characters(this.#before).slice(0, -1).join('');
    }
    this.#content = this.#content.slice(0, this.#content.length - length);
    this.#tell('input', { inputType, data: null, isComposing: this.isComposing });
  }

  /** Exchanges the last so many UTF-16 units in one event. */
  replace(length, text, inputType = 'insertReplacementText') {
    this.#content = this.#content.slice(0, this.#content.length - length) + text;
    this.#tell('input', { inputType, data: text, isComposing: this.isComposing });
  }

  #begin(data) {
    if (this.#composition !== null) return;
    this.#composition = data;
    this.#tell('compositionstart', { data });
  }

  #tell(type, fields) {
    this.dispatchEvent(Object.assign(new Event(type), fields));
  }
}

const visible = (content) => content.replaceAll('\u200b', '');

/** All of it together. */
export function typingScene(followsWords) {
  const clock = new FakeClock();
  const editor = new FakeEditor();
  const phone = new FakeField();
  const keyboard = new Keyboard(editor);
  phone.restore('typed before a reload');
  const field = new TextField(phone, keyboard, followsWords, clock);
  field.focus();
  return { clock, editor, field, keyboard, phone };
}
