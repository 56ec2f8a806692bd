import assert from 'node:assert/strict';
import { test } from 'node:test';
import { kStatus } from './support/host.mjs';
import { nextEvent, seen, typed, words } from './support/observations.mjs';
import { kPhone, openTyping, PhoneKeyboard } from './support/phone_keyboard.mjs';

const kShiftMask = 0x1;
const kControlMask = 0x4;

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

/** A finger on a key of the row; returns what lifts it. */
async function hold(page, name) {
  const key = page.getByRole('toolbar').getByRole('button', { name, exact: true });
  await key.scrollIntoViewIfNeeded();
  const { x, y, width, height } = await key.boundingBox();
  const devtools = await page.context().newCDPSession(page);
  const touchPoints = [{ x: x + width / 2, y: y + height / 2 }];
  await devtools.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints });
  return () => devtools.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
}

test('a key of the row repeats while it is held, and leaves the keyboard open', async (t) => {
  const { keyboard, phone, probe } = await openTyping(t);
  const lift = await hold(phone.page, 'Left arrow');
  let since = 0;
  for (let count = 0; count < 4; count += 1) {
    ({ mark: since } = await probe.out.next(/"key-press".*"Left"/, { since }));
  }
  await lift();
  await keyboard.commit('.');
  await nextEvent(probe, { event: 'key-press', text: '.' });
  assert.equal(await phone.page.evaluate(() => document.activeElement.id), 'typing');
  await keyboard.commit('!');
  await nextEvent(probe, { event: 'key-press', text: '!' });
  assert.equal(typed(seen(probe)).split('.')[1], '!', 'it went on after it was let go');
});

test('a modifier that is held is that key by itself', async (t) => {
  const { keyboard, phone, probe } = await openTyping(t);
  const lift = await hold(phone.page, 'Super');
  await nextEvent(probe, { event: 'key-release', keysym: 'Super_L' });
  await lift();
  await keyboard.commit('a');
  await nextEvent(probe, { event: 'key-release', keysym: 'a' });
  assert.deepEqual(words(seen(probe)), [
    'key-press Super_L', 'key-release Super_L', 'key-press a', 'key-release a',
  ]);
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
  // The same button opens it again, and closes it.
  await PhoneKeyboard.open(phone);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'typing');
  await page.tap('#bar-toggle');
  await page.tap('#show-keyboard');
  await page.locator('#keys').waitFor({ state: 'hidden' });
});

test('a visit that ended in the middle of typing leaves no row of keys to the next', async (t) => {
  const { host, keyboard, phone } = await openTyping(t);
  await keyboard.key('Shift');
  host.disconnectViewer();
  await phone.phase('notice', 'ended');
  await phone.page.tap('#notice-action');
  await phone.live();
  assert.equal(await phone.page.locator('#keys').isVisible(), false);
  await PhoneKeyboard.open(phone);
  const shift = phone.page.getByRole('button', { name: 'Shift', exact: true });
  assert.equal(await shift.getAttribute('aria-pressed'), 'false');
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
