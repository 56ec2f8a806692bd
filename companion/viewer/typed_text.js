import { change } from './characters.js';

// Something to delete, or backspace in an empty field reports nothing. Several, so that a held
// backspace seldom has to wait for more.
const kFiller = '\u200b'.repeat(16);
const kFillerAtLeast = 4;
// In code points. Keyboards look back over a few words to correct them, and no further.
const kLongest = 400;
const kLookBack = 100;

// Scripts that are written by choosing among candidates, or by composing syllables.
const kComposed =
  /[\p{Script=Han}\p{Script=Hiragana}\p{Script=Katakana}\p{Script=Bopomofo}\p{Script=Hangul}]/u;
const kLatin = /\p{Script=Latin}/u;
const kLetter = /\p{L}/u;

/**
 * Makes the computer's text follow a field that the phone's keyboard writes in. Keyboards compose,
 * correct, replace and take back in ways that no two share; the content of the field is the one
 * thing that is always true. So every content is compared with the one before, and the difference
 * goes to `edit(remove, insert)`, which returns whether the text now stands before the caret: a
 * shortcut does not.
 *
 * A word is followed while it is being composed: phones underline every plain word until its end.
 * What will be exchanged for something else (pinyin, kana, syllables in the making) is withheld
 * until it is chosen. Where nothing but such methods composes (`followsWords` false: desktops, and
 * Apple's phones), all compositions are.
 */
export class TypedText {
  #edit;
  #followsWords;
  #text = []; // the field's code points that the computer has
  #fixed = 0; // how many of them lie where the computer's caret no longer is
  #filler = kFiller.length;
  #composition = '';
  #sawLatin = false;
  #converts = false; // the last composition ended in other letters than it was made of

  constructor(edit, followsWords) {
    this.#edit = edit;
    this.#followsWords = followsWords;
  }

  /** Content for an empty field. */
  static get blank() {
    return kFiller;
  }

  composing(data) {
    this.#composition = data;
    this.#sawLatin ||= kLatin.test(data);
  }

  composed(data) {
    if (kLetter.test(data)) {
      this.#converts = kComposed.test(data) || (this.#sawLatin && !kLatin.test(data));
    }
    this.#composition = '';
    this.#sawLatin = false;
  }

  /** To be called with the field's content after every change. */
  changed(value) {
    if (this.#composition === '' || !this.#withholds()) this.#follow(value);
  }

  /** The caret leaves this place, and takes nothing back from it. The field is to be `blank`. */
  leave(value) {
    this.#follow(value);
    this.#composition = '';
    this.#sawLatin = false;
    this.#text = [];
    this.#fixed = 0;
    this.#filler = kFiller.length;
  }

  /** New content for a field that has run low on filler or holds too much, else null. */
  tidied() {
    const isLong = this.#text.length > kLongest;
    if (this.#fixed === 0 && this.#filler >= kFillerAtLeast && !isLong) return null;
    const start = Math.max(this.#fixed, isLong ? this.#text.length - kLookBack : 0);
    this.#text = this.#text.slice(start);
    this.#fixed = 0;
    this.#filler = kFiller.length;
    return kFiller + this.#text.join('');
  }

  /** Whether the text ends within a word, which the keyboard may yet correct. */
  get isInWord() {
    return /[\p{L}\p{M}\p{N}]$/u.test(this.#text.join(''));
  }

  #withholds() {
    return !this.#followsWords || this.#converts || kComposed.test(this.#composition);
  }

  #follow(value) {
    const { filler, text } = read(value, this.#filler);
    const old = this.#text.slice(this.#fixed).join('');
    const now = text.slice(this.#fixed).join('');
    const edit = change(old, now);
    // Deleting what was there before any of this text: one backspace, however much of the filler
    // the keyboard takes for a word.
    const reachesBack = text.length < this.#fixed || filler < this.#filler;
    if (reachesBack && old === '') edit.remove = 1;

    this.#filler = filler;
    this.#text = text;
    this.#fixed = Math.min(this.#fixed, text.length);
    if (edit.remove === 0 && edit.insert === '') return;
    const stands = this.#edit(edit.remove, edit.insert);
    // Return and Tab lead elsewhere, into another line or another field.
    if (!stands) this.#fixed = text.length;
    else if (/[\n\t]/.test(edit.insert)) {
      this.#fixed = Math.max(text.lastIndexOf('\n'), text.lastIndexOf('\t')) + 1;
    }
  }
}

// The first run is the filler, as far as there was one, wherever the caret has put other text.
function read(value, fillerAtMost) {
  const [run] = value.match(/\u200b+/) ?? [''];
  const filler = Math.min(run.length, fillerAtMost);
  const text = [...value.replace(run.slice(0, filler), '')];
  return { filler, text };
}
