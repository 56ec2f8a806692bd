import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import path from 'node:path';
import { test } from 'node:test';
import { nextEvent, seen, typed, words } from './support/observations.mjs';
import { openVisit } from './support/scene.mjs';

const kText = 'Grüße, naïve 日本語 😀';

test('text arrives in any program, character for character', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.keyboard.type(kText);
  await nextEvent(probe, { event: 'key-press', text: '😀' });
  assert.equal(typed(seen(probe)), kText);
});

test('text typed into a terminal is what a program there reads', async (t) => {
  const { desktop, folder, phone } = await openVisit(t);
  const file = path.join(folder, 'typed');
  const active = desktop.run('xprop', '-root', '-spy', '_NET_ACTIVE_WINDOW');
  await active.out.next(/_NET_ACTIVE_WINDOW/);
  const since = active.out.mark();
  const terminal = desktop.run(
    'env', 'LC_ALL=C.UTF-8', 'xterm', '-u8', '-e', 'sh', '-c', 'exec cat >"$0"', file);
  await active.out.next(/# 0x[0-9a-f]*[1-9a-f]/, { since });
  await phone.keyboard.type(kText);
  await phone.keyboard.press('Enter');
  await phone.keyboard.type('Ends here.');
  await phone.keyboard.press('Backspace');
  await phone.keyboard.press('Enter');
  await phone.keyboard.press('Control+d');
  await terminal.ended();
  assert.equal(await fs.readFile(file, 'utf8'), `${kText}\nEnds here\n`);
});

test('a shortcut arrives as the key with its modifier', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.keyboard.press('Control+a');
  await nextEvent(probe, { event: 'key-release', keysym: 'Control_L' });
  const events = seen(probe);
  assert.deepEqual(words(events), [
    'key-press Control_L', 'key-press a', 'key-release a', 'key-release Control_L',
  ]);
  const kControlMask = 0x4;
  assert.equal(events[1].state & kControlMask, kControlMask);
});

test('Shift selects with the arrows and does not disturb the capitals around them', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.keyboard.down('Shift');
  await phone.keyboard.press('A');
  await phone.keyboard.press('ArrowLeft');
  await phone.keyboard.press('B');
  await phone.keyboard.up('Shift');
  await phone.keyboard.press('Escape');
  await nextEvent(probe, { event: 'key-release', keysym: 'Escape' });
  const events = seen(probe);
  assert.equal(typed(events.filter(({ keysym }) => /^[A-Za-z]$/.test(keysym))), 'AB');
  const kShiftMask = 0x1;
  const arrow = events.find(({ event, keysym }) => event === 'key-press' && keysym === 'Left');
  assert.equal(arrow.state & kShiftMask, kShiftMask);
  const escape = events.find(({ event, keysym }) => event === 'key-press' && keysym === 'Escape');
  assert.equal(escape.state & kShiftMask, 0);
});

test('full screen takes the keys that the browser keeps for itself', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.page.evaluate(() => {
    const lock = navigator.keyboard.lock.bind(navigator.keyboard);
    navigator.keyboard.lock = (...keys) => {
      globalThis.keysLocked = lock(...keys).then(() => keys);
      return globalThis.keysLocked;
    };
  });
  await phone.page.click('#bar-toggle');
  await phone.page.click('#full-screen');
  await phone.page.waitForFunction(() => document.fullscreenElement && globalThis.keysLocked);
  assert.deepEqual(await phone.page.evaluate(() => globalThis.keysLocked), [], 'all keys');
  await phone.keyboard.press('Escape');
  await phone.keyboard.press('Control+w');
  await nextEvent(probe, { event: 'key-release', keysym: 'Control_L' });
  assert.deepEqual(words(seen(probe)), [
    'key-press Escape', 'key-release Escape',
    'key-press Control_L', 'key-press w', 'key-release w', 'key-release Control_L',
  ]);
  assert.ok(await phone.page.evaluate(() => document.fullscreenElement !== null));
});
