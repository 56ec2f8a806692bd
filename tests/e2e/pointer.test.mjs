import assert from 'node:assert/strict';
import { test } from 'node:test';
import { nextEvent, seen, words } from './support/observations.mjs';
import { openVisit } from './support/scene.mjs';

test('clicks arrive where the picture was touched, button by button', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.click(640, 360);
  await phone.mouse.click(100, 200, { button: 'right' });
  await phone.mouse.click(1000, 650, { button: 'middle' });
  await nextEvent(probe, { event: 'release', button: 2 });
  assert.deepEqual(words(seen(probe)), [
    'press 1 at 640,360', 'release 1 at 640,360',
    'press 3 at 100,200', 'release 3 at 100,200',
    'press 2 at 1000,650', 'release 2 at 1000,650',
  ]);
});

test('a double click is two clicks at one place, quick enough for any program', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.dblclick(320, 180);
  await phone.mouse.click(700, 180, { button: 'right' });
  await nextEvent(probe, { event: 'release', button: 3 });
  assert.deepEqual(words(seen(probe)).slice(0, 4), [
    'press 1 at 320,180', 'release 1 at 320,180', 'press 1 at 320,180', 'release 1 at 320,180',
  ]);
});

test('a drag keeps the button down along its way', async (t) => {
  const { desktop, phone } = await openVisit(t);
  const probe = await desktop.probe('observe');
  await phone.mouse.move(200, 200);
  await phone.mouse.down();
  await phone.mouse.move(800, 500, { steps: 10 });
  await phone.mouse.up();
  await nextEvent(probe, { event: 'release', button: 1 });
  assert.deepEqual(words(seen(probe)), ['press 1 at 200,200', 'release 1 at 800,500']);
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
