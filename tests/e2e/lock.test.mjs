import assert from 'node:assert/strict';
import { test } from 'node:test';
import { nextEvent, seen, typed } from './support/observations.mjs';
import { kPhone, PhoneKeyboard } from './support/phone_keyboard.mjs';
import { openVisit } from './support/scene.mjs';

/** A visit whose computer has just been locked. */
async function openLocked(t, options) {
  const scene = await openVisit(t, options);
  const sheet = scene.phone.page.getByRole('dialog', { name: 'Locked' });
  const password = sheet.getByLabel('Password of the computer’s user');
  await scene.phone.heard.next(/"lock".*false/);
  assert.equal(await sheet.isVisible(), false);
  const probe = await scene.desktop.probe('observe');
  await scene.desktop.tell('xset', 's', 'activate');
  await sheet.waitFor({ state: 'visible' });
  return { ...scene, password, probe, sheet };
}

test('the lock shows at the phone, and the password typed there reaches the desktop', async (t) => {
  const { password, probe, sheet } = await openLocked(t);
  const since = probe.out.mark();
  await password.fill('Päss wört 1');
  await password.press('Enter');
  assert.equal(await password.inputValue(), '', 'the password stayed in the field');
  await nextEvent(probe, { event: 'key-release', keysym: 'Return' }, { since });
  const events = seen(probe, since).filter(({ event }) => event === 'key-press');
  assert.equal(events[0].keysym, 'Escape');
  assert.equal(events.at(-1).keysym, 'Return');
  assert.equal(typed(events.slice(1, -1)), 'Päss wört 1');
  // Keys wake this desktop, which is all the lock it has.
  await sheet.waitFor({ state: 'hidden' });
});

test('a phone can show the password, and keeps it no longer than it is looked at', async (t) => {
  const { password, phone, probe, sheet } = await openLocked(t, kPhone);
  const show = sheet.getByRole('button', { name: 'Show the password' });
  const kind = () => password.evaluate(({ type }) => type);
  await password.tap();
  await phone.keyboard.type('secret');
  assert.equal(await kind(), 'password');
  await show.tap();
  assert.equal(await kind(), 'text');
  assert.equal(await show.getAttribute('aria-pressed'), 'true');
  assert.equal(await phone.page.evaluate(() => document.activeElement.id), 'password');
  assert.equal(await password.inputValue(), 'secret');

  // Another page comes before this one.
  await phone.page.evaluate(() => {
    Object.defineProperty(document, 'hidden', { configurable: true, get: () => true });
    document.dispatchEvent(new Event('visibilitychange'));
    delete document.hidden;
  });
  assert.equal(await password.inputValue(), '');
  assert.equal(await kind(), 'password');

  await phone.keyboard.type('secret');
  await sheet.getByRole('button', { name: 'Show the lock screen' }).tap();
  await sheet.waitFor({ state: 'hidden' });
  assert.equal(await phone.page.locator('#password').inputValue(), '');
  assert.deepEqual(seen(probe), [], 'something of it reached the computer');

  const again = phone.page.getByRole('button', { name: 'Locked: enter the password' });
  await again.tap();
  await sheet.waitFor({ state: 'visible' });
  assert.equal(await again.isVisible(), false);
  assert.equal(await password.inputValue(), '');
});

test('the password field is in sight over a phone’s keyboard', async (t) => {
  const { password, phone, sheet } = await openLocked(t, kPhone);
  for (const [viewport, covered] of [
    [kPhone.viewport, 336], [{ width: 844, height: 390 }, 200], [{ width: 320, height: 568 }, 253],
  ]) {
    await phone.page.setViewportSize(viewport);
    await PhoneKeyboard.cover(phone.page, covered);
    for (const part of [password, sheet.getByRole('button', { name: 'Unlock', exact: true })]) {
      const box = await part.boundingBox();
      assert.ok(box.y >= 0 && box.y + box.height <= viewport.height - covered,
        `${JSON.stringify(box)} at ${JSON.stringify(viewport)}`);
    }
  }
});
