import assert from 'node:assert/strict';
import { test } from 'node:test';
import { nextEvent, seen, typed } from './support/observations.mjs';
import { openVisit } from './support/scene.mjs';

test('the lock shows at the phone, and the password typed there reaches the desktop', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const sheet = phone.page.locator('#locked');
  await phone.heard.next(/"lock".*false/);
  assert.equal(await sheet.isVisible(), false);
  const probe = await desktop.probe('observe');

  await desktop.tell('xset', 's', 'activate');
  await sheet.waitFor({ state: 'visible' });

  const since = probe.out.mark();
  await phone.page.fill('#password', 'Päss wört 1');
  await phone.page.press('#password', 'Enter');
  assert.equal(await phone.page.inputValue('#password'), '', 'the password stayed in the field');
  await nextEvent(probe, { event: 'key-release', keysym: 'Return' }, { since });
  const events = seen(probe, since).filter(({ event }) => event === 'key-press');
  assert.equal(events[0].keysym, 'Escape');
  assert.equal(events.at(-1).keysym, 'Return');
  assert.equal(typed(events.slice(1, -1)), 'Päss wört 1');
  // Keys wake this desktop, which is all the lock it has.
  await sheet.waitFor({ state: 'hidden' });
});
