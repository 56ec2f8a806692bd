// CSS pixels.
const kSize = 132;
const kAbove = 104; // from the finger to the middle of the loupe
const kMagnified = 2.5;
const kEdge = 8;

/** A round glass beside the finger that shows, larger, what the finger covers. */
export class Loupe {
  #canvas = document.getElementById('loupe');
  #context = this.#canvas.getContext('2d');
  #video;
  #stage;
  #point = null;
  #frame = null;

  constructor(video, stage) {
    this.#video = video;
    this.#stage = stage;
  }

  /** Shows what is at the point of the page, until it is hidden. */
  show({ x, y }) {
    this.#point = { x, y };
    this.#canvas.hidden = false;
    this.#place();
    this.#frame ??= requestAnimationFrame(() => this.#draw());
  }

  hide() {
    this.#canvas.hidden = true;
    cancelAnimationFrame(this.#frame);
    this.#frame = null;
  }

  // Above the finger, or beside it where there is no room above.
  #place() {
    const { x, y } = this.#point;
    const half = kSize / 2 + kEdge;
    const within = (at, size) => Math.min(Math.max(at, half), size - half);
    const isRoomAbove = y - kAbove >= half;
    const beside = x > innerWidth / 2 ? -kAbove : kAbove;
    const left = within(isRoomAbove ? x : x + beside, innerWidth) - kSize / 2;
    const top = within(isRoomAbove ? y - kAbove : y, innerHeight) - kSize / 2;
    this.#canvas.style.transform = `translate(${left}px, ${top}px)`;
  }

  #draw() {
    this.#frame = requestAnimationFrame(() => this.#draw());
    const { rect, scale } = this.#stage;
    if (!rect) return;
    const pixels = kSize * devicePixelRatio;
    if (this.#canvas.width !== pixels) this.#canvas.width = this.#canvas.height = pixels;
    const perPixel = scale * kMagnified * devicePixelRatio;
    const seen = pixels / perPixel; // of the picture's own pixels
    const x = (this.#point.x - rect.left) / scale - seen / 2;
    const y = (this.#point.y - rect.top) / scale - seen / 2;
    this.#context.imageSmoothingEnabled = perPixel <= 2;
    this.#context.fillRect(0, 0, pixels, pixels);
    this.#context.drawImage(this.#video, x, y, seen, seen, 0, 0, pixels, pixels);
  }
}
