import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import path from 'node:path';
import { test } from 'node:test';
import { nextEvent, seen, typed, words } from './support/observations.mjs';
import { kPhone, openTyping, PhoneKeyboard } from './support/phone_keyboard.mjs';
import { openVisit } from './support/scene.mjs';

/** What an editor holds after these events, when each backspace takes one character away. */
function edited(events) {
  const characters = [];
  for (const { keysym, text } of events.filter(({ event }) => event === 'key-press')) {
    if (keysym === 'BackSpace') characters.pop();
    else if (text) characters.push(text);
  }
  return characters.join('');
}

test('words arrive while they are composed, and as they were corrected', async (t) => {
  const { keyboard, probe } = await openTyping(t);
  await keyboard.spell('Teh');
  await nextEvent(probe, { event: 'key-press', text: 'h' });
  assert.equal(edited(seen(probe)), 'Teh');
  await keyboard.commit('The');
  await keyboard.commit(' ');
  // A swiped word, another one in its place, and a finished word that is taken up again.
  await keyboard.commit('quack');
  await keyboard.backspace(5);
  await keyboard.commit('quick');
  await keyboard.commit(' ');
  await keyboard.spell('fix');
  await keyboard.compose('fi');
  await keyboard.commit('fox');
  await keyboard.compose('foxes', 3);
  await keyboard.commit('foxes');
  await keyboard.commit(' 😀 ');
  // Characters that the layout lacks, chosen from candidates.
  await keyboard.spell('にほん');
  await keyboard.compose('日本');
  await keyboard.commit('日本');
  await keyboard.commit('.');
  await nextEvent(probe, { event: 'key-press', text: '.' });
  const events = seen(probe);
  assert.equal(edited(events), 'The quick foxes 😀 日本.');
  assert.equal(events.filter(({ text }) => text === 'に').length, 0, 'kana before they were chosen');
});

test('a long text is neither doubled nor loses anything', async (t) => {
  const { keyboard, probe } = await openTyping(t);
  const text = Array.from({ length: 250 }, (_, index) => `word${index}`);
  for (const word of text) await keyboard.commit(`${word} `);
  await keyboard.commit('#');
  await nextEvent(probe, { event: 'key-press', text: '#' });
  assert.equal(typed(seen(probe)), `${text.join(' ')} #`);
});

test('backspace goes on where the field has nothing left', async (t) => {
  const { keyboard, probe } = await openTyping(t);
  await keyboard.commit('ab');
  await keyboard.backspace(40);
  await keyboard.commit('.');
  await nextEvent(probe, { event: 'key-press', text: '.' });
  const keys = seen(probe).filter(({ event }) => event === 'key-press').map(({ keysym }) => keysym);
  assert.deepEqual(keys, ['a', 'b', ...Array(40).fill('BackSpace'), 'period']);
});

test('what is typed after a press elsewhere takes nothing back from before', async (t) => {
  const { keyboard, phone, probe } = await openTyping(t);
  await keyboard.spell('helo');
  await phone.page.tap('#surface', { position: { x: 150, y: 422 } });
  const pressed = await probe.out.next(/"event":"press"/);
  await keyboard.commit('x');
  await keyboard.backspace();
  await keyboard.commit('.');
  await nextEvent(probe, { event: 'key-press', text: '.' });
  const before = seen(probe).filter(({ time, event }) =>
    event === 'key-press' && time <= JSON.parse(pressed.input).time);
  assert.equal(typed(before), 'helo');
  assert.deepEqual(words(seen(probe, pressed.mark)).filter((word) => /^key-press/.test(word)),
    ['key-press x', 'key-press BackSpace', 'key-press period']);
});

test('Return and the words around it reach a program', async (t) => {
  const { desktop, folder, phone } = await openVisit(t, kPhone);
  const file = path.join(folder, 'typed');
  const active = desktop.run('xprop', '-root', '-spy', '_NET_ACTIVE_WINDOW');
  await active.out.next(/_NET_ACTIVE_WINDOW/);
  const since = active.out.mark();
  const terminal = desktop.run(
    'env', 'LC_ALL=C.UTF-8', 'xterm', '-u8', '-e', 'sh', '-c', 'exec cat >"$0"', file);
  await active.out.next(/# 0x[0-9a-f]*[1-9a-f]/, { since });
  const keyboard = await PhoneKeyboard.open(phone);
  await keyboard.spell('Grüße');
  await keyboard.commit('Grüße');
  await phone.keyboard.press('Enter');
  await keyboard.spell('naive');
  await keyboard.commit('naïve 👍');
  await phone.keyboard.press('Enter');
  await keyboard.key('Control');
  await keyboard.commit('d');
  await terminal.ended();
  assert.equal(await fs.readFile(file, 'utf8'), 'Grüße\nnaïve 👍\n');
});
