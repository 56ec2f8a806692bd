/** The picture and the buttons over it. `actions`: showKeyboard(), figures(), home(), leave(). */
export class DeskView {
  #root = document.getElementById('desk');
  #surface = document.getElementById('surface');
  #video = document.getElementById('picture');
  #toast = document.getElementById('toast');
  #toggle = document.getElementById('bar-toggle');
  #buttons = document.getElementById('bar-buttons');

  constructor(actions) {
    this.#toggle.addEventListener('click', () => this.#openBar(this.#buttons.hidden));
    const button = (id, action) =>
      document.getElementById(id).addEventListener('click', () => {
        this.#openBar(false);
        action();
      });
    button('show-keyboard', actions.showKeyboard);
    button('full-screen', () => this.#toggleFullScreen());
    button('show-figures', actions.figures);
    button('desk-home', actions.home);
    button('leave', actions.leave);
    // A press on the picture or the bar must not take the focus from the text field.
    for (const part of [this.#surface, document.getElementById('bar')]) {
      part.addEventListener('mousedown', (event) => event.preventDefault());
    }
    this.#surface.addEventListener('pointerdown', () => this.#openBar(false));
  }

  get video() {
    return this.#video;
  }

  get isShown() {
    return !this.#root.hidden;
  }

  show({ unsteady }) {
    this.#root.hidden = false;
    this.#toast.hidden = !unsteady;
  }

  hide() {
    this.#root.hidden = true;
    this.#openBar(false);
  }

  setPicture(stream) {
    this.#video.srcObject = stream;
    this.#play();
  }

  async #play() {
    try {
      await this.#video.play();
    } catch (error) {
      // A newer picture interrupts an older one's start; muted playback needs nobody's leave.
      if (error.name !== 'AbortError') console.warn('the picture does not play:', error.message);
    }
  }

  #openBar(open) {
    this.#buttons.hidden = !open;
    this.#toggle.setAttribute('aria-expanded', String(open));
  }

  async #toggleFullScreen() {
    if (document.fullscreenElement) return document.exitFullscreen();
    try {
      await document.documentElement.requestFullscreen();
      // Where the browser lets it, its own shortcuts go to the computer too.
      await navigator.keyboard?.lock?.();
    } catch (error) {
      console.warn('no full screen:', error.message);
    }
  }
}
