import assert from 'node:assert/strict';
import { test } from 'node:test';
import { characters } from '../../../companion/viewer/characters.js';
import { typingScene } from './fake_typing.mjs';

const kLetters = [...'abc é,.', 'e\u0301', 'ß', 'कि', '한', 'ㅎ', '你', '😀', '👍🏽', '👩‍👩‍👧', '🇸🇪'];
const kWords = ['the', 'teh', 'naïve', ' swiped', 'don’t', 'x', 'zwölf', '日本', 'ни'];

/** Numbers that look random and are the same every time (mulberry32). */
function numbers(seed) {
  let state = seed;
  return (below) => {
    state = (state + 0x6d2b79f5) | 0;
    let mixed = Math.imul(state ^ (state >>> 15), 1 | state);
    mixed = (mixed + Math.imul(mixed ^ (mixed >>> 7), 61 | mixed)) ^ mixed;
    return ((mixed ^ (mixed >>> 14)) >>> 0) % below;
  };
}

function deletedLength({ seen }, count) {
  const last = characters(seen).slice(-count).join('');
  return last.length || 1;
}

const kActions = [
  ({ phone }, random) => phone.insert(kLetters[random(kLetters.length)]),
  ({ phone }, random) => {
    if (!phone.isComposing) phone.delete(deletedLength(phone, 1 + random(3)));
  },
  ({ phone }, random) => phone.compose(kWords[random(kWords.length)]),
  ({ phone }, random) => {
    const word = kWords[random(kWords.length)];
    phone.compose(word.slice(0, random(word.length + 1)));
  },
  ({ phone }) => phone.isComposing && phone.finish(),
  ({ phone }, random) => {
    if (!phone.isComposing) phone.commit(kWords[random(kWords.length)]);
  },
  ({ phone }, random) => {
    if (phone.isComposing) return;
    const count = Math.min(random(5), characters(phone.seen).length);
    const old = count > 0 ? deletedLength(phone, count) : 0;
    phone.replace(old, kWords[random(kWords.length)]);
  },
  ({ phone }, random) => {
    const [word] = phone.seen.match(/[a-z]+$/) ?? [''];
    if (!phone.isComposing && word) phone.recompose(1 + random(word.length));
  },
  ({ phone }) => !phone.isComposing && phone.insert('\n', 'insertLineBreak'),
  ({ clock }, random) => clock.advance(random(10000)),
];

for (const [system, followsWords] of [['a phone', true], ['a desktop', false]]) {
  test(`whatever the keyboard of ${system} does, the computer has the text of the field`, () => {
    for (let seed = 1; seed <= 300; seed += 1) {
      const scene = typingScene(followsWords);
      const { editor, phone } = scene;
      const random = numbers(seed);
      for (let step = 0; step < 120; step += 1) {
        // Letters do not join those of an unfinished composition in any keyboard.
        const action = kActions[random(kActions.length)];
        if (phone.isComposing && action === kActions[0]) continue;
        action(scene, random);
        if (phone.isComposing) continue; // something may be withheld
        assert.equal(editor.text, phone.wanted, `seed ${seed}, step ${step}`);
      }
      scene.field.leave();
      assert.equal(editor.text, phone.wanted, `seed ${seed}, at the end`);
    }
  });
}
