import { virtualKey } from './key_codes.js';

// Where characters are on the keyboards of the United States, and what they are the shifted form of.
const kPlaces = {
  '=': 'Equal', '-': 'Minus', ']': 'BracketRight', '[': 'BracketLeft', "'": 'Quote',
  ';': 'Semicolon', '\\': 'Backslash', ',': 'Comma', '/': 'Slash', '.': 'Period',
  '`': 'Backquote', ' ': 'Space', '\n': 'Enter', '\t': 'Tab',
};
const kShifted = {
  '+': '=', _: '-', '}': ']', '{': '[', '"': "'", ':': ';', '|': '\\', '<': ',', '?': '/',
  '>': '.', '~': '`', '!': '1', '@': '2', '#': '3', $: '4', '%': '5', '^': '6', '&': '7',
  '*': '8', '(': '9', ')': '0',
};

// What is elsewhere on other keyboards, as far as shortcuts use it.
const kGerman = {
  places: { y: 'KeyZ', z: 'KeyY', '-': 'Slash', '+': 'BracketRight', '#': 'Backslash' },
  shifted: { _: '-', '*': '+', '/': '7', '?': 'ß', '=': '0', ';': ',', ':': '.' },
};
const kFrench = {
  places: {
    a: 'KeyQ', q: 'KeyA', z: 'KeyW', w: 'KeyZ', m: 'Semicolon', ',': 'KeyM', ';': 'Comma',
    ':': 'Period', '!': 'Slash', '-': 'Digit6',
  },
  shifted: { '?': ',', '.': ';', '/': ':' },
};
const kAmerican = { places: {}, shifted: {} };

// People type on a phone in the language of their computer's keyboard, as a rule. Taken for American,
// a French keyboard would make Ctrl+Q of Ctrl+A, which closes programs.
const kLayouts = [
  [/^(de|cs|sk|hu|sl|hr|bs|sq|fr-CH)\b/i, kGerman],
  [/^fr\b(?!-CA)/i, kFrench],
];

/**
 * The key that makes a character on the keyboards of a language (a tag like "fr-FR"), as
 * { code, shift } with its virtual key code; null where none is known.
 */
export function keyFor(character, language = '') {
  const { places, shifted } = kLayouts.find(([tag]) => tag.test(language))?.[1] ?? kAmerican;
  const lower = character.toLowerCase();
  const isPlaced = lower in places;
  const plain = isPlaced ? lower : (shifted[character] ?? kShifted[character] ?? lower);
  const candidates = [places[plain], `Key${plain.toUpperCase()}`, `Digit${plain}`, kPlaces[plain]];
  const code = candidates.map((place) => virtualKey({ code: place })).find(Number.isInteger);
  return code === undefined ? null : { code, shift: plain !== character };
}
