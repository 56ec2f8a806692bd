// Something to delete, or a phone's backspace reports nothing. The caret stays behind it.
const kFiller = '\u200b';

/**
 * The invisible text field that receives what is not a plain key: compositions and dead keys, a
 * phone's keyboard, paste and drop.
 */
export class TextField {
  #field;
  #keyboard;

  constructor(field, keyboard) {
    this.#field = field;
    this.#keyboard = keyboard;
    this.#clear();
    field.addEventListener('beforeinput', (event) => this.#beforeInput(event));
    field.addEventListener('compositionend', ({ data }) => {
      this.#keyboard.type(data);
      this.#clear();
    });
    field.addEventListener('input', (event) => {
      if (!event.isComposing) this.#clear();
    });
    field.addEventListener('paste', (event) => {
      event.preventDefault();
      this.#keyboard.type(event.clipboardData.getData('text/plain'));
    });
  }

  focus() {
    this.#field.focus({ preventScroll: true });
  }

  #beforeInput(event) {
    // A composition cannot be cancelled; its result comes with compositionend.
    if (event.isComposing || event.inputType.includes('Composition')) return;
    event.preventDefault();
    const text = event.data ?? event.dataTransfer?.getData('text/plain');
    if (text) this.#keyboard.type(text);
    else if (event.inputType.startsWith('delete')) this.#keyboard.backspace();
    else if (/^insert(LineBreak|Paragraph)$/.test(event.inputType)) this.#keyboard.type('\n');
  }

  #clear() {
    this.#field.value = kFiller;
    this.#field.setSelectionRange(1, 1);
  }
}
