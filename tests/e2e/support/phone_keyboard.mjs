import { openVisit } from './scene.mjs';

export const kPhone = { viewport: { width: 390, height: 844 }, touch: true, scale: 3 };

/** The keyboard of a phone, as it reaches the page: compositions and finished text, hardly a key. */
export class PhoneKeyboard {
  #devtools;
  #page;

  /** Opens the keyboard with the button that people use. */
  static async open(phone) {
    const keyboard = new PhoneKeyboard();
    keyboard.#page = phone.page;
    keyboard.#devtools = await phone.page.context().newCDPSession(phone.page);
    await phone.page.tap('#bar-toggle');
    await phone.page.tap('#show-keyboard');
    await phone.page.locator('#keys').waitFor({ state: 'visible' });
    return keyboard;
  }

  /** The keyboard covers so many CSS pixels of the page's lower end; with 0 it has gone. */
  static async cover(page, pixels) {
    await page.evaluate((covered) => {
      Object.defineProperty(visualViewport, 'height', {
        configurable: true,
        get: () => document.documentElement.clientHeight - covered,
      });
      visualViewport.dispatchEvent(new Event('resize'));
    }, pixels);
  }

  /** Sets the underlined text; of the text before it, `over` UTF-16 units become part of it. */
  async compose(text, over = 0) {
    const end = await this.#page.evaluate(() => document.activeElement.selectionEnd);
    const replacement = over > 0 ? { replacementStart: end - over, replacementEnd: end } : {};
    await this.#devtools.send('Input.imeSetComposition',
      { text, selectionStart: text.length, selectionEnd: text.length, ...replacement });
  }

  /** Composes a word letter by letter. */
  async spell(word) {
    for (let length = 1; length <= word.length; length += 1) await this.compose(word.slice(0, length));
  }

  /** Finished text, in the place of what is being composed. */
  async commit(text) {
    await this.#devtools.send('Input.insertText', { text });
  }

  async backspace(times = 1) {
    for (let count = 0; count < times; count += 1) await this.#page.keyboard.press('Backspace');
  }

  /** A key of the row over the keyboard. */
  async key(name) {
    await this.#page.getByRole('toolbar').getByRole('button', { name, exact: true }).tap();
  }
}

/** A visit from a phone with its keyboard open, and what arrives at the computer. */
export async function openTyping(t) {
  const scene = await openVisit(t, kPhone);
  const probe = await scene.desktop.probe('observe');
  const keyboard = await PhoneKeyboard.open(scene.phone);
  return { ...scene, keyboard, probe };
}
