// How far beside the picture a press still counts as one on its edge, in CSS pixels: corners must
// be reachable, while a stray tap on the black bars must not click.
const kEdgeReach = 12;
const kMostZoom = 5;
// A pinch that ends this close to the whole picture meant the whole picture.
const kAlmostWhole = 1.06;
// What follows the pointer keeps this much of its surroundings in sight, in CSS pixels.
const kSurroundings = 56;
// Device pixels to a pixel of the picture from which on smoothing only blurs.
const kHardFrom = 2;
// A place computed to be on a pixel's edge must not fall to its neighbour.
const kRounding = 1e-6;

const clamp = (value, least, most) => Math.min(Math.max(value, least), most);

/**
 * Which part of the picture is seen, and where. All lengths are CSS pixels of the page, places are
 * fractions of the picture. Without a picture, or without room for one, `rect` is null.
 */
export class Viewport {
  #room = { left: 0, top: 0, width: 0, height: 0 };
  #visible = this.#room;
  #picture = { width: 0, height: 0 };
  #zoom = 1;
  #middle = { x: 0.5, y: 0.5 }; // the place shown in the middle of what is visible

  /**
   * `room`: the picture as a whole fits it. `visible`: the part of it that nothing covers, a
   * keyboard for instance; the picture moves so that all of it can be seen there.
   */
  layOut(room, visible = room) {
    this.#room = room;
    this.#visible = visible;
    this.#settle();
  }

  /** The picture's own size, in its pixels. */
  setPicture({ width, height }) {
    this.#picture = { width, height };
    this.#settle();
  }

  /** 1 shows the picture whole. */
  get zoom() {
    return this.#zoom;
  }

  /** CSS pixels to a pixel of the picture. */
  get scale() {
    const { width, height } = this.#picture;
    if (!width || !height || this.#visible.width <= 0 || this.#visible.height <= 0) return 0;
    return Math.min(this.#room.width / width, this.#room.height / height) * this.#zoom;
  }

  /** Where the whole picture lies, seen or not. */
  get rect() {
    const { scale } = this;
    if (scale <= 0) return null;
    const width = this.#picture.width * scale;
    const height = this.#picture.height * scale;
    const { x, y } = this.#centre();
    return { left: x - this.#middle.x * width, top: y - this.#middle.y * height, width, height };
  }

  /** Whether the picture's pixels are so large that they are best drawn with hard edges. */
  isHard(devicePixelRatio) {
    return this.scale * devicePixelRatio > kHardFrom;
  }

  /**
   * The place of the picture's pixel under a point: exactly its left upper corner, so that nobody's
   * rounding takes the press to its neighbour. Points beside the picture count as on its edge;
   * `onPicture` tells whether the point was on it or close by.
   */
  locate(point) {
    const { rect } = this;
    if (!rect) return null;
    const inside = (at, start, size, pixels) => {
      const place = clamp((at - start) / size, 0, 1);
      return Math.min(Math.floor(place * pixels + kRounding) / pixels, 1);
    };
    const beside = (at, start, size) => at < start - kEdgeReach || at > start + size + kEdgeReach;
    return {
      x: inside(point.x, rect.left, rect.width, this.#picture.width),
      y: inside(point.y, rect.top, rect.height, this.#picture.height),
      onPicture:
        !beside(point.x, rect.left, rect.width) && !beside(point.y, rect.top, rect.height),
    };
  }

  /** The point of the page that shows a place. */
  pointAt(place) {
    const { rect } = this;
    return rect && { x: rect.left + place.x * rect.width, y: rect.top + place.y * rect.height };
  }

  /** Zooms about a point, which goes on showing the same place as long as the edges let it. */
  zoomAbout(point, factor) {
    const before = this.rect;
    if (!before) return;
    const place = {
      x: (point.x - before.left) / before.width,
      y: (point.y - before.top) / before.height,
    };
    this.#zoom = clamp(this.#zoom * factor, 1, kMostZoom);
    const { width, height } = this.rect;
    const { x, y } = this.#centre();
    this.#middle = { x: place.x - (point.x - x) / width, y: place.y - (point.y - y) / height };
    this.#settle();
  }

  /** Moves the picture with a finger. */
  panBy(dx, dy) {
    const { rect } = this;
    if (!rect) return;
    this.#middle = {
      x: this.#middle.x - dx / rect.width,
      y: this.#middle.y - dy / rect.height,
    };
    this.#settle();
  }

  /** Moves the picture as little as shows the place with some surroundings. */
  keepInView(place) {
    const point = this.pointAt(place);
    if (!point) return;
    const { left, top, width, height } = this.#visible;
    const missing = (at, start, size) => {
      const margin = Math.min(kSurroundings, size / 3);
      return clamp(at, start + margin, start + size - margin) - at;
    };
    this.panBy(missing(point.x, left, width), missing(point.y, top, height));
  }

  /** After a pinch: what is almost whole becomes whole. */
  settleZoom() {
    if (this.#zoom < kAlmostWhole) this.#zoom = 1;
    this.#settle();
  }

  #centre() {
    const { left, top, width, height } = this.#visible;
    return { x: left + width / 2, y: top + height / 2 };
  }

  // No edge of the picture comes further in than it must: a picture smaller than the room is in its
  // middle, a larger one fills it.
  #settle() {
    const { scale } = this;
    if (scale <= 0) return;
    const within = (middle, size, visible) => {
      const half = visible / 2 / size;
      return half >= 0.5 ? 0.5 : clamp(middle, half, 1 - half);
    };
    this.#middle = {
      x: within(this.#middle.x, this.#picture.width * scale, this.#visible.width),
      y: within(this.#middle.y, this.#picture.height * scale, this.#visible.height),
    };
  }
}
