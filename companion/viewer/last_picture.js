const kWidest = 1280; // pixels; it is dimmed and behind words

/** The picture as it was when it stopped, dimmed, until there is a new one. */
export class LastPicture {
  #canvas = document.getElementById('last-picture');
  #video;

  constructor(video) {
    this.#video = video;
    video.addEventListener('loadeddata', () => this.drop());
  }

  /** To be called while the picture still stands. */
  keep() {
    const { videoWidth, videoHeight } = this.#video;
    if (!videoWidth) return;
    const scale = Math.min(1, kWidest / videoWidth);
    this.#canvas.width = Math.round(videoWidth * scale);
    this.#canvas.height = Math.round(videoHeight * scale);
    const { width, height } = this.#canvas;
    this.#canvas.getContext('2d').drawImage(this.#video, 0, 0, width, height);
    this.#canvas.hidden = false;
  }

  /** Nothing of it stays behind. */
  drop() {
    this.#canvas.hidden = true;
    this.#canvas.width = this.#canvas.height = 0;
  }
}
