import assert from 'node:assert/strict';
import { test } from 'node:test';
import { nextEvent, nextEvents, seen, words } from './support/observations.mjs';
import { openVisit } from './support/scene.mjs';

// The window manager holds the pointer until it has looked at a press. With any mouse that is quicker
// than the window manager, moves in between shift the release, and a second press may be lost; so each
// click is waited for, as long as a person's hand would take at least.

test('clicks arrive where the picture was touched, button by button', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  for (const [button, number, x, y] of [
    ['left', 1, 640, 360], ['right', 3, 100, 200], ['middle', 2, 1000, 650],
  ]) {
    const since = probe.out.mark();
    await phone.mouse.click(x, y, { button });
    assert.deepEqual(words(await nextEvents(probe, 2, since)),
      [`press ${number} at ${x},${y}`, `release ${number} at ${x},${y}`]);
  }
});

test('a double click is two clicks at one place', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.click(320, 180);
  await nextEvents(probe, 2);
  await phone.mouse.down({ clickCount: 2 });
  await phone.mouse.up({ clickCount: 2 });
  assert.deepEqual(words(await nextEvents(probe, 4)), [
    'press 1 at 320,180', 'release 1 at 320,180', 'press 1 at 320,180', 'release 1 at 320,180',
  ]);
});

test('a drag keeps the button down along its way', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.move(200, 200);
  await phone.mouse.down();
  await nextEvents(probe, 1);
  await phone.mouse.move(800, 500, { steps: 10 });
  await phone.mouse.up();
  assert.deepEqual(words(await nextEvents(probe, 2)),
    ['press 1 at 200,200', 'release 1 at 800,500']);
  const kButton1Mask = 0x100;
  const dragged = probe.out.lines
    .filter((line) => line.includes('"motion"'))
    .map((line) => JSON.parse(line))
    .filter(({ state }) => (state & kButton1Mask) !== 0);
  assert.ok(dragged.length >= 1, 'no motion with the button held');
  assert.deepEqual([dragged.at(-1).x, dragged.at(-1).y], [800, 500]);
});

test('the wheel scrolls up and down', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.move(400, 300);
  await phone.mouse.wheel(0, -120);
  await nextEvent(probe, { event: 'release', button: 4 });
  await phone.mouse.wheel(0, 120);
  await phone.mouse.wheel(0, 120);
  await phone.mouse.click(400, 300);
  await nextEvent(probe, { event: 'release', button: 1 });
  assert.deepEqual(words(seen(probe)), [
    'press 4 at 400,300', 'release 4 at 400,300',
    'press 5 at 400,300', 'release 5 at 400,300',
    'press 5 at 400,300', 'release 5 at 400,300',
    'press 1 at 400,300', 'release 1 at 400,300',
  ]);
});

test('on an upright phone the black bars are not part of the desktop', async (t) => {
  const { desktop, phone } = await openVisit(t, { viewport: { width: 640, height: 1000 } });
  const probe = await desktop.probe('observe');
  await phone.mouse.click(320, 100); // on the upper bar
  await phone.mouse.click(160, 320 + 90); // the picture lies from 320 to 680, half as large
  await nextEvent(probe, { event: 'release', button: 1 });
  assert.deepEqual(words(seen(probe)), ['press 1 at 320,180', 'release 1 at 320,180']);
});
