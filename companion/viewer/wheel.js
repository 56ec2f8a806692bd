// One line is one click of a wheel on the computer. A notched wheel must give exactly one click a
// notch; browsers report it as 120 in the old wheelDelta field whatever the page scrolls by.
const kNotch = 120;
// For touch pads, which report pixels: about the way a program scrolls for one click.
const kPixelsPerLine = 50;
// Browsers that report text lines count three to a notch.
const kTextLinesPerLine = 3;
const kLinesPerPage = 8;
// More than a hard flick gives; a broken driver must not freeze the desktop.
const kMostLines = 100;

export class WheelLines {
  #rest = 0;

  /** Whole lines to scroll now, positive up. What is left over counts with the next event. */
  take(event) {
    const lines = -downwards(event);
    if (Math.sign(lines) !== Math.sign(this.#rest)) this.#rest = 0;
    const sum = this.#rest + lines;
    const whole = Math.trunc(sum);
    this.#rest = sum - whole;
    return Math.min(Math.max(whole, -kMostLines), kMostLines);
  }
}

function downwards(event) {
  // With Shift held browsers turn the wheel sideways; the computer does that itself.
  const sideways = event.shiftKey && !event.deltaY;
  const delta = sideways ? event.deltaX : event.deltaY;
  const notches = sideways ? event.wheelDeltaX : event.wheelDeltaY;
  if (event.deltaMode === 1) return delta / kTextLinesPerLine;
  if (event.deltaMode === 2) return delta * kLinesPerPage;
  if (notches && notches % kNotch === 0) return -notches / kNotch;
  return delta / kPixelsPerLine;
}
