// How far beside the picture a press still counts as one on its edge, in CSS pixels: corners must
// be reachable, while a stray tap on the black bars must not click.
const kEdgeReach = 12;

/** Where a picture lies inside a box that shows it whole and centred. Null without a picture. */
export function pictureIn(box, picture) {
  if (!picture.width || !picture.height || !box.width || !box.height) return null;
  const scale = Math.min(box.width / picture.width, box.height / picture.height);
  const width = picture.width * scale;
  const height = picture.height * scale;
  return {
    left: box.left + (box.width - width) / 2,
    top: box.top + (box.height - height) / 2,
    width,
    height,
  };
}

/**
 * A point of the page as fractions of the picture, clamped to it. `onPicture` tells whether the
 * point itself was on the picture or close to its edge.
 */
export function fractionsAt(point, picture) {
  const x = (point.x - picture.left) / picture.width;
  const y = (point.y - picture.top) / picture.height;
  const beside = (value, size) => value * size < -kEdgeReach || (value - 1) * size > kEdgeReach;
  const clamp = (value) => Math.min(Math.max(value, 0), 1);
  return {
    x: clamp(x),
    y: clamp(y),
    onPicture: !beside(x, picture.width) && !beside(y, picture.height),
  };
}
