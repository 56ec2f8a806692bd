// KeyboardEvent.code, the place of a key on the keyboard, to the virtual key code the host expects:
// the positional codes of Macintosh keyboards.
const kLetters = {
  KeyA: 0x00, KeyS: 0x01, KeyD: 0x02, KeyF: 0x03, KeyH: 0x04, KeyG: 0x05, KeyZ: 0x06, KeyX: 0x07,
  KeyC: 0x08, KeyV: 0x09, KeyB: 0x0b, KeyQ: 0x0c, KeyW: 0x0d, KeyE: 0x0e, KeyR: 0x0f, KeyY: 0x10,
  KeyT: 0x11, KeyO: 0x1f, KeyU: 0x20, KeyI: 0x22, KeyP: 0x23, KeyL: 0x25, KeyJ: 0x26, KeyK: 0x28,
  KeyN: 0x2d, KeyM: 0x2e,
};

const kDigits = {
  Digit1: 0x12, Digit2: 0x13, Digit3: 0x14, Digit4: 0x15, Digit6: 0x16, Digit5: 0x17,
  Digit9: 0x19, Digit7: 0x1a, Digit8: 0x1c, Digit0: 0x1d,
};

const kSigns = {
  Equal: 0x18, Minus: 0x1b, BracketRight: 0x1e, BracketLeft: 0x21, Quote: 0x27, Semicolon: 0x29,
  Backslash: 0x2a, Comma: 0x2b, Slash: 0x2c, Period: 0x2f, Backquote: 0x32,
  IntlBackslash: 0x0a, // the key beside the left Shift of ISO keyboards
  IntlYen: 0x5d, IntlRo: 0x5e,
};

const kEditing = {
  Enter: 0x24, Tab: 0x30, Space: 0x31, Backspace: 0x33, Escape: 0x35, Delete: 0x75,
  Insert: 0x72, // where Macintosh keyboards have Help
  Home: 0x73, End: 0x77, PageUp: 0x74, PageDown: 0x79,
  ArrowLeft: 0x7b, ArrowRight: 0x7c, ArrowDown: 0x7d, ArrowUp: 0x7e,
  ContextMenu: 0x6e, Lang1: 0x68, Lang2: 0x66, KanaMode: 0x68,
};

const kModifiers = {
  ShiftLeft: 0x38, ShiftRight: 0x3c, ControlLeft: 0x3b, ControlRight: 0x3e,
  AltLeft: 0x3a, AltRight: 0x3d, MetaLeft: 0x37, MetaRight: 0x36, OSLeft: 0x37, OSRight: 0x36,
  CapsLock: 0x39, Fn: 0x3f,
};

const kKeypad = {
  NumpadDecimal: 0x41, NumpadMultiply: 0x43, NumpadAdd: 0x45, NumLock: 0x47, NumpadDivide: 0x4b,
  NumpadEnter: 0x4c, NumpadSubtract: 0x4e, NumpadEqual: 0x51, NumpadComma: 0x5f,
  Numpad0: 0x52, Numpad1: 0x53, Numpad2: 0x54, Numpad3: 0x55, Numpad4: 0x56, Numpad5: 0x57,
  Numpad6: 0x58, Numpad7: 0x59, Numpad8: 0x5b, Numpad9: 0x5c,
};

const kFunctions = {
  F1: 0x7a, F2: 0x78, F3: 0x63, F4: 0x76, F5: 0x60, F6: 0x61, F7: 0x62, F8: 0x64, F9: 0x65,
  F10: 0x6d, F11: 0x67, F12: 0x6f, F13: 0x69, F14: 0x6b, F15: 0x71, F16: 0x6a, F17: 0x40,
  F18: 0x4f, F19: 0x50, F20: 0x5a,
  AudioVolumeUp: 0x48, AudioVolumeDown: 0x49, AudioVolumeMute: 0x4a,
  VolumeUp: 0x48, VolumeDown: 0x49, VolumeMute: 0x4a,
};

const kCodes = new Map(Object.entries({
  ...kLetters, ...kDigits, ...kSigns, ...kEditing, ...kModifiers, ...kKeypad, ...kFunctions,
}));

/**
 * The virtual key code of a keyboard event, or undefined for a key the host has no code for.
 * With the number lock off a keypad key means the arrow or editing key printed on it.
 */
export function virtualKey({ code = '', key }) {
  if (code.startsWith('Numpad') && key in kEditing && key !== 'Enter') return kEditing[key];
  // Phone keyboards name the key but not its place.
  return kCodes.get(code) ?? kEditing[key];
}

export const isModifier = (code) => code in kModifiers;

const kFlags = { CapsLock: 0x10000, Shift: 0x20000, Control: 0x40000, Alt: 0x80000, Meta: 0x100000 };

/** The bit of a modifier in the host's flag mask. */
export const flagOf = (name) => kFlags[name];

/** The modifiers held during a keyboard event, as the host's flag mask. */
export function modifierFlags(event) {
  return Object.keys(kFlags).reduce(
    (mask, name) => (event.getModifierState(name) ? mask | kFlags[name] : mask), 0);
}
