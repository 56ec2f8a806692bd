import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import path from 'node:path';
import { test } from 'node:test';
import { kStatus } from './support/host.mjs';
import { nextEvent, seen, typed, words } from './support/observations.mjs';
import { PhoneKeyboard } from './support/phone_keyboard.mjs';
import { openVisit } from './support/scene.mjs';

const kPhone = { viewport: { width: 390, height: 844 }, touch: true, scale: 3 };
const kShiftMask = 0x1;
const kControlMask = 0x4;

/** A visit from a phone with its keyboard open, and what arrives at the computer. */
async function openTyping(t) {
  const scene = await openVisit(t, kPhone);
  const probe = await scene.desktop.probe('observe');
  const keyboard = await PhoneKeyboard.open(scene.phone);
  return { ...scene, keyboard, probe };
}

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

test('a modifier is for the next key, or locked until it is taken off', async (t) => {
  const { keyboard, phone, probe } = await openTyping(t);
  const control = phone.page.getByRole('button', { name: 'Control', exact: true });
  const shift = phone.page.getByRole('button', { name: 'Shift', exact: true });
  await keyboard.key('Control');
  assert.equal(await control.getAttribute('aria-pressed'), 'true');
  await keyboard.compose('a');
  await nextEvent(probe, { event: 'key-release', keysym: 'Control_L' });
  assert.equal(await control.getAttribute('aria-pressed'), 'false');
  const events = seen(probe);
  assert.deepEqual(words(events), [
    'key-press Control_L', 'key-press a', 'key-release a', 'key-release Control_L',
  ]);
  assert.equal(events[1].state & kControlMask, kControlMask);

  const since = probe.out.mark();
  await shift.tap();
  await shift.tap();
  assert.equal(await shift.getAttribute('aria-description'), 'locked');
  await keyboard.commit('ab');
  await keyboard.key('Left arrow');
  await keyboard.key('Left arrow');
  await shift.tap();
  assert.equal(await shift.getAttribute('aria-pressed'), 'false');
  await keyboard.key('F5');
  await nextEvent(probe, { event: 'key-release', keysym: 'F5' }, { since });
  const pressed = seen(probe, since).filter(({ event, keysym }) =>
    event === 'key-press' && !/^Shift/.test(keysym));
  assert.deepEqual(pressed.map(({ keysym }) => keysym), ['A', 'B', 'Left', 'Left', 'F5']);
  assert.deepEqual(pressed.map(({ state }) => state & kShiftMask), [1, 1, 1, 1, 0]);
});

test('a key of the row repeats while it is held, and leaves the keyboard open', async (t) => {
  const { keyboard, phone, probe } = await openTyping(t);
  const box = await phone.page.getByRole('button', { name: 'Left arrow' }).boundingBox();
  const devtools = await phone.page.context().newCDPSession(phone.page);
  const touch = (type, ...touchPoints) =>
    devtools.send('Input.dispatchTouchEvent', { type, touchPoints });
  await touch('touchStart', { x: box.x + box.width / 2, y: box.y + box.height / 2 });
  let since = 0;
  for (let count = 0; count < 4; count += 1) {
    ({ mark: since } = await probe.out.next(/"key-press".*"Left"/, { since }));
  }
  await touch('touchEnd');
  await keyboard.commit('.');
  await nextEvent(probe, { event: 'key-press', text: '.' });
  assert.equal(await phone.page.evaluate(() => document.activeElement.id), 'typing');
  await keyboard.commit('!');
  await nextEvent(probe, { event: 'key-press', text: '!' });
  assert.equal(typed(seen(probe)).split('.')[1], '!', 'it went on after it was let go');
});

test('the picture and the row of keys keep clear of the keyboard, and the row goes with it', async (t) => {
  const { phone } = await openTyping(t);
  const { page } = phone;
  const lowerEnd = async (id) => {
    const { y, height } = await page.locator(id).boundingBox();
    return y + height;
  };
  await PhoneKeyboard.cover(page, 336);
  assert.equal(await lowerEnd('#keys'), kPhone.viewport.height - 336);
  assert.ok(await lowerEnd('#picture') <= kPhone.viewport.height - 336 - 50);
  await PhoneKeyboard.cover(page, 0);
  await page.locator('#keys').waitFor({ state: 'hidden' });
  await page.waitForFunction(() => {
    const { top, bottom } = document.getElementById('picture').getBoundingClientRect();
    return Math.abs(top + bottom - innerHeight) < 1;
  }, undefined, { polling: 'raf' });
  // The same button opens it again.
  await PhoneKeyboard.open(phone);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'typing');
});

test('modifiers that are set are let go when the phone goes elsewhere or leaves', async (t) => {
  const { host, keyboard, phone, probe } = await openTyping(t);
  const control = phone.page.getByRole('button', { name: 'Control', exact: true });
  await control.tap();
  await control.tap();
  await keyboard.commit('a');
  await nextEvent(probe, { event: 'key-release', keysym: 'a' });
  await phone.page.evaluate(() => dispatchEvent(new Event('blur')));
  const { mark: since } = await probe.out.next(/"key-release".*"Control_L"/);
  assert.equal(await control.getAttribute('aria-pressed'), 'false');

  await control.tap();
  await control.tap();
  await keyboard.commit('a');
  await nextEvent(probe, { event: 'key-release', keysym: 'a' }, { since });
  const said = host.mark();
  await phone.leave();
  await host.status(kStatus.waiting, { since: said });
  await nextEvent(probe, { event: 'key-release', keysym: 'Control_L' }, { since });
});
