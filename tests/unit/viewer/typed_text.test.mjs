import assert from 'node:assert/strict';
import { test } from 'node:test';
import { typingScene } from './fake_typing.mjs';

/** Composes a word letter by letter, as keyboards do that underline it. */
function spell(phone, word) {
  for (let length = 1; length <= word.length; length += 1) phone.compose(word.slice(0, length));
}

// What keyboards do, and what the computer must have been sent in the end.
const kAndroid = {
  'a word and a space that ends it': [
    (phone) => {
      spell(phone, 'hello');
      phone.finish();
      phone.insert(' ');
    },
    'hello ',
  ],
  'a space that comes within the composition': [
    (phone) => {
      spell(phone, 'hello');
      phone.commit('hello ');
    },
    'hello ',
  ],
  'a word that is corrected by the space behind it': [
    (phone) => {
      spell(phone, 'teh');
      phone.commit('the');
      phone.insert(' ');
    },
    'the ',
  ],
  'a correction taken back with backspace': [
    (phone) => {
      spell(phone, 'teh');
      phone.commit('the');
      phone.insert(' ');
      phone.delete(4);
      phone.commit('teh ');
    },
    'teh ',
  ],
  'backspace within a composition, to its end and beyond': [
    (phone) => {
      phone.insert('ab ');
      spell(phone, 'xyz');
      for (const rest of ['xy', 'x', '']) phone.compose(rest);
      phone.finish();
      phone.delete();
      phone.delete();
    },
    'a',
  ],
  'a finished word that is underlined again and goes on': [
    (phone) => {
      phone.commit('walk');
      phone.recompose(4);
      phone.compose('walke');
      phone.compose('walked');
      phone.finish();
    },
    'walked',
  ],
  'a finished word that is deleted and written anew': [
    (phone) => {
      phone.insert('one tow ');
      phone.delete(4);
      phone.insert('two ');
    },
    'one two ',
  ],
  'swiped words, each with the space before it': [
    (phone) => {
      phone.compose('swipe');
      phone.compose('swiped');
      phone.finish();
      phone.commit(' words');
      phone.commit(' here');
    },
    'swiped words here',
  ],
  'a swiped word deleted as a whole': [
    (phone) => {
      phone.commit('good');
      phone.commit(' mourning');
      phone.delete(9);
      phone.commit(' morning');
    },
    'good morning',
  ],
  'dictation that changes its mind': [
    (phone) => {
      for (const heard of ['wreck', 'wreck a', 'recognise', 'recognise speech', 'Recognise speech.']) {
        phone.compose(heard);
      }
      phone.finish();
    },
    'Recognise speech.',
  ],
  'two spaces that become a full stop': [
    (phone) => {
      phone.commit('done');
      phone.insert(' ');
      phone.delete();
      phone.insert('. ');
    },
    'done. ',
  ],
  'accents and emoji': [
    (phone) => {
      spell(phone, 'cafe');
      phone.compose('café');
      phone.finish();
      phone.insert(' 👩🏽‍💻');
      phone.insert('🇸🇪');
      phone.delete('🇸🇪'.length);
      phone.insert('👍');
      phone.replace(2, '👍🏿');
    },
    'café 👩🏽‍💻👍🏿',
  ],
  'a syllable of Devanagari that grows and loses its vowel': [
    (phone) => {
      for (const part of ['क', 'कि', 'कित', 'कि', 'क']) phone.compose(part);
      phone.finish();
    },
    'क',
  ],
  'Return within the composition, and a correction that cannot reach back over it': [
    (phone) => {
      spell(phone, 'ok');
      phone.compose('ok\n');
      phone.compose('ok\nn');
      phone.finish();
      phone.delete();
      phone.insert('yes');
    },
    'ok\nyes',
  ],
  'a composition that never ends': [
    (phone) => {
      spell(phone, 'unfinished');
    },
    'unfinished',
  ],
};

const kApple = {
  'plain letters': [
    (phone) => {
      for (const letter of 'Hi you') phone.insert(letter);
    },
    'Hi you',
  ],
  'a correction by the space': [
    (phone) => {
      for (const letter of 'teh') phone.insert(letter);
      phone.replace(3, 'the');
      phone.insert(' ');
    },
    'the ',
  ],
  'a suggestion that ends the word': [
    (phone) => {
      for (const letter of 'tomo') phone.insert(letter);
      phone.replace(4, 'tomorrow ');
    },
    'tomorrow ',
  ],
  'two spaces that become a full stop': [
    (phone) => {
      phone.insert('done ');
      phone.replace(1, '. ', 'insertText');
    },
    'done. ',
  ],
  'words deleted with a held backspace': [
    (phone) => {
      phone.insert('one two three');
      phone.delete(5, 'deleteWordBackward');
      phone.delete(4, 'deleteWordBackward');
    },
    'one ',
  ],
  'dictation': [
    (phone) => {
      phone.insert('Write', 'insertFromDictation');
      phone.replace(5, 'Right', 'insertFromDictation');
      phone.insert(' away', 'insertFromDictation');
    },
    'Right away',
  ],
  'syllables of Hangul, taken away and written again': [
    (phone) => {
      phone.insert('ㅎ');
      phone.delete();
      phone.insert('하');
      phone.delete();
      phone.insert('한');
    },
    '한',
  ],
};

for (const [system, cases, followsWords] of [
  ['Android', kAndroid, true],
  ['an Apple phone', kApple, false],
]) {
  for (const [what, [act, text]] of Object.entries(cases)) {
    test(`${system}: ${what}`, () => {
      const { editor, phone } = typingScene(followsWords);
      act(phone);
      assert.equal(editor.text, text);
      assert.equal(phone.wanted, text);
    });
  }
}

test('a word is seen at the computer while it is being composed', () => {
  const { editor, phone } = typingScene(true);
  spell(phone, 'word');
  assert.deepEqual(editor.log, ['w', 'o', 'r', 'd']);
});

for (const [what, interim, final] of [
  ['kana and kanji', ['に', 'にほ', 'にほん', '日本'], '日本'],
  ['Bopomofo', ['ㄋ', 'ㄋㄧ', '你'], '你'],
  ['Hangul', ['ㅎ', '하', '한'], '한'],
]) {
  test(`Android: ${what} are sent once they are chosen`, () => {
    const { editor, phone } = typingScene(true);
    for (const text of interim) phone.compose(text);
    assert.deepEqual(editor.log, []);
    phone.finish();
    assert.deepEqual(editor.log, [final]);
  });
}

test('Android: letters that turn out to be pinyin are sent as such but once', () => {
  const { editor, phone } = typingScene(true);
  spell(phone, 'ni');
  phone.commit('你');
  assert.equal(editor.text, '你');
  editor.log.length = 0;
  spell(phone, 'hao');
  assert.deepEqual(editor.log, []);
  phone.commit('好');
  assert.deepEqual(editor.log, ['好']);
  // A word of plain letters, and the keyboard is taken for a plain one again.
  spell(phone, 'and');
  phone.finish();
  editor.log.length = 0;
  spell(phone, 'so');
  assert.deepEqual(editor.log, ['s', 'o']);
});

test('Android: a script that is written in Latin letters is known after a word, too', () => {
  const { editor, phone } = typingScene(true);
  spell(phone, 'namaste');
  phone.commit('नमस्ते');
  assert.equal(editor.text, 'नमस्ते');
  editor.log.length = 0;
  spell(phone, 'ji');
  phone.commit('जी');
  assert.deepEqual(editor.log, ['जी']);
});

test('elsewhere every composition is sent when it ends', () => {
  const { editor, phone } = typingScene(false);
  spell(phone, 'nihao');
  assert.deepEqual(editor.log, []);
  phone.commit('你好');
  assert.deepEqual(editor.log, ['你好']);
});

test('an Apple phone: candidates that take the place of what was spelled', () => {
  const { editor, phone } = typingScene(false);
  phone.insert('a');
  for (const [interim, final] of [['ni hao', '你好'], ['shi', '是']]) {
    spell(phone, interim);
    phone.exchange(final);
  }
  assert.deepEqual(editor.log, ['a', '你好', '是']);
});

test('a composition that is given up leaves nothing behind', () => {
  const { editor, phone } = typingScene(false);
  phone.insert('a');
  spell(phone, 'ni');
  phone.compose('');
  phone.finish();
  assert.equal(editor.text, 'a');
});

test('what is being composed is sent before the caret is moved elsewhere', () => {
  const { editor, field, phone } = typingScene(false);
  spell(phone, 'nihao');
  field.leave();
  assert.equal(editor.text, 'nihao');
  phone.insert('!');
  assert.equal(editor.text, 'nihao!');
});

test('no correction reaches back over a press on the picture', () => {
  const { editor, field, phone } = typingScene(true);
  spell(phone, 'teh');
  field.leave();
  editor.log.length = 0;
  phone.insert('x');
  phone.delete();
  phone.insert(' ');
  assert.deepEqual(editor.log, ['x', '⌫', ' ']);
  assert.equal(phone.seen, ' ');
});

test('after a pause between words none of them is taken back', () => {
  const { clock, phone } = typingScene(false);
  phone.insert('some words ');
  clock.advance(60000);
  assert.equal(phone.seen, '');
  phone.insert('half a wo');
  clock.advance(60000);
  assert.equal(phone.seen, 'half a wo', 'the word may yet be corrected');
});

test('a pause within a composition takes nothing from under the keyboard', () => {
  const { clock, editor, phone } = typingScene(true);
  phone.compose('a ');
  clock.advance(60000);
  assert.ok(phone.isComposing);
  phone.compose('a b');
  assert.equal(editor.text, 'a b');
});

test('a held backspace goes on for as long as it is held', () => {
  const { editor, phone } = typingScene(true);
  phone.insert('ab');
  for (let count = 0; count < 300; count += 1) phone.delete();
  assert.deepEqual(editor.log, ['ab', ...Array(300).fill('⌫')]);
});

test('a word deleted where the field has none is one backspace', () => {
  const { editor, phone } = typingScene(false);
  phone.delete(7, 'deleteWordBackward');
  phone.delete(9, 'deleteWordBackward');
  assert.deepEqual(editor.log, ['⌫', '⌫']);
  phone.delete();
  assert.equal(editor.log.length, 3);
});

test('a zero-width space that somebody types arrives', () => {
  const { editor, phone } = typingScene(false);
  phone.insert('ក');
  phone.insert('\u200b');
  phone.insert('ខ');
  assert.equal(editor.text, 'ក\u200bខ');
});

test('the field does not grow without end, and keeps what a keyboard looks back on', () => {
  const { editor, phone } = typingScene(true);
  const words = Array.from({ length: 500 }, (_, index) => `word${index} `);
  for (const word of words) phone.commit(word);
  assert.equal(editor.text, words.join(''));
  assert.ok(phone.value.length < 500);
  assert.ok(phone.seen.endsWith('word498 word499 '));
});

test('paste is sent as it is, and not corrected later', () => {
  const { editor, phone } = typingScene(true);
  phone.insert('a');
  phone.dispatchEvent(Object.assign(new Event('paste', { cancelable: true }), {
    clipboardData: { getData: () => 'one\ntwo' },
  }));
  phone.delete();
  assert.equal(editor.text, 'aone\ntw');
});

test('what a browser puts back into the field is not typed', () => {
  const { editor, field, phone } = typingScene(true);
  field.blur();
  phone.restore('typed before a reload');
  field.leave();
  field.focus();
  phone.insert('a');
  assert.equal(editor.text, 'a');
});

test('what was being composed is sent when the field loses the focus', () => {
  const { editor, field, phone } = typingScene(false);
  spell(phone, 'ni');
  field.blur();
  assert.equal(editor.text, 'ni');
});
