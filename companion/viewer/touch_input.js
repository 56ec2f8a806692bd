import { DirectTouch } from './direct_touch.js';
import { Trackpad } from './trackpad.js';

const kTypes = new Map([
  ['pointerdown', 'down'], ['pointermove', 'move'], ['pointerup', 'up'],
  // A capture that is lost after the finger was lifted says nothing new; the gestures know that.
  ['pointercancel', 'cancel'], ['lostpointercapture', 'cancel'],
]);

const kPulseMs = 15;

const timer = {
  now: () => performance.now(),
  setTimeout: (action, milliseconds) => setTimeout(action, milliseconds),
  clearTimeout: (id) => clearTimeout(id),
};

/** Hands the fingers on the stage to the gestures in use. Mouse and pen are Pointer's. */
export class TouchInput {
  #modes;
  #gestures;

  constructor(cursor, stage, loupe) {
    this.#modes = {
      trackpad: new Trackpad(cursor, stage, timer),
      direct: new DirectTouch(cursor, stage, timer, {
        magnify: (point) => loupe.show(point),
        noMagnifier: () => loupe.hide(),
        pulse: () => navigator.vibrate?.(kPulseMs),
      }),
    };
    this.#gestures = this.#modes.trackpad;
    for (const [event, type] of kTypes) {
      stage.surface.addEventListener(event, (touch) => {
        if (touch.pointerType !== 'touch') return;
        this.#gestures.sees({
          type,
          id: touch.pointerId,
          x: touch.clientX,
          y: touch.clientY,
          time: touch.timeStamp,
          isFirst: touch.isPrimary,
        });
      });
    }
  }

  /** 'trackpad' or 'direct' from now on; what the other holds is let go. */
  use(mode) {
    this.releaseAll();
    this.#gestures = this.#modes[mode];
  }

  releaseAll() {
    this.#gestures.releaseAll();
  }
}
