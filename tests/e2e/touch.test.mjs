import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Hand } from './support/hand.mjs';
import { nextEvent, nextEvents, seen, words } from './support/observations.mjs';
import { blockColour, blockMiddles } from './support/pattern.mjs';
import { openVisit } from './support/scene.mjs';

// Each click is waited for before the next one: the window manager holds the pointer until it has
// looked at a press, and may lose one that comes sooner than any hand's.

const kUpright = { viewport: { width: 390, height: 844 }, touch: true, scale: 3 };
const kAcross = { viewport: { width: 844, height: 390 }, touch: true, scale: 3 };
const kButton1Mask = 0x100;

async function openTouchVisit(t, options) {
  const { desktop, host, phone } = await openVisit(t, options);
  const probe = await desktop.probe('observe');
  return { desktop, host, phone, probe, hand: await Hand.of(phone) };
}

async function chooseMode(phone, mode) {
  await phone.page.click('#bar-toggle');
  await phone.page.click(`#touch-${mode}`);
  await phone.page.click('#bar-toggle');
}

const pictureRect = (phone) =>
  phone.page.evaluate(() => {
    const { left, top, width, height } = document.getElementById('picture').getBoundingClientRect();
    return { left, top, width, height };
  });

/** The desktop's pixel that the page shows at a point, by nothing but where the picture lies. */
async function pixelAt(phone, desktop, [x, y]) {
  const { left, top, width, height } = await pictureRect(phone);
  return [
    Math.floor(((x - left) / width) * desktop.size.width + 1e-6),
    Math.floor(((y - top) / height) * desktop.size.height + 1e-6),
  ];
}

test('the glass as a trackpad, on an upright phone', async (t) => {
  const { phone, probe, hand } = await openTouchVisit(t, kUpright);
  let since = 0;
  const next = async (count) => {
    await hand.done();
    const events = await nextEvents(probe, count, since);
    since = probe.out.mark();
    return events;
  };

  await t.test('a tap clicks in the middle, where the pointer begins', async () => {
    hand.tap([50, 700]);
    assert.deepEqual(words(await next(2)), ['press 1 at 640,360', 'release 1 at 640,360']);
  });

  await t.test('tap, tap is a double click', async () => {
    hand.tap([50, 700]);
    const [first] = await next(1);
    hand.tap([52, 703]);
    assert.deepEqual(words([first, ...(await next(3))]), [
      'press 1 at 640,360', 'release 1 at 640,360', 'press 1 at 640,360', 'release 1 at 640,360',
    ]);
  });

  await t.test('a stroke moves the pointer from where it is', async () => {
    hand.down(1, [100, 700]);
    await hand.stroke({ 1: [[100, 700], [150, 700]] });
    hand.up(1).pause(300).tap([300, 200]);
    const [press] = await next(2);
    assert.ok(press.x > 680 && press.x < 1100, `pressed at ${press.x}`);
    assert.equal(press.y, 360);
  });

  await t.test('tap, then hold and move, drags', async () => {
    hand.tap([200, 700]).down(1, [200, 700]);
    const [press] = await next(1);
    await hand.stroke({ 1: [[200, 700], [200, 640]] });
    hand.up(1);
    const [release] = await next(1);
    assert.deepEqual([press.event, press.button, release.event], ['press', 1, 'release']);
    assert.equal(release.x, press.x);
    assert.ok(release.y < press.y - 20, `from ${press.y} to ${release.y}`);
    const dragged = probe.out.lines.filter((line) => line.includes('"motion"'))
      .map((line) => JSON.parse(line)).filter(({ state }) => (state & kButton1Mask) !== 0);
    assert.equal(dragged.at(-1).y, release.y);
  });

  await t.test('two fingers tap the right button, three the middle one', async () => {
    hand.tapWith([150, 500], [220, 500]);
    assert.deepEqual((await next(2)).map(({ event, button }) => `${event} ${button}`),
      ['press 3', 'release 3']);
    hand.down(1, [100, 500]).pause(40).down(2, [170, 480]).pause(40).down(3, [240, 500]);
    hand.pause(40).up(2).pause(60).up(1).pause(60).up(3);
    assert.deepEqual((await next(2)).map(({ event, button }) => `${event} ${button}`),
      ['press 2', 'release 2']);
  });

  await t.test('two fingers scroll the way the page goes', async () => {
    hand.down(1, [150, 300]).down(2, [220, 300]);
    await hand.stroke({ 1: [[150, 300], [150, 500]], 2: [[220, 300], [220, 500]] });
    hand.pause(200).up(1).up(2);
    await nextEvent(probe, { event: 'press', button: 4 }, { since });
    hand.pause(300).tap([10, 700]);
    await hand.done();
    await nextEvent(probe, { event: 'release', button: 1 }, { since });
    const buttons = seen(probe, since).filter(({ event }) => event === 'press').map(({ button }) => button);
    assert.ok(buttons.filter((button) => button === 4).length >= 5, buttons.join());
    assert.deepEqual([buttons.at(-1), buttons.includes(5)], [1, false]);
    since = probe.out.mark();
  });

  await t.test('a thrown scroll rolls on until the next touch, which clicks nothing', async () => {
    hand.down(1, [150, 700]).down(2, [220, 700]);
    await hand.stroke({ 1: [[150, 700], [150, 300]], 2: [[220, 700], [220, 300]] });
    const lifted = probe.out.mark();
    hand.up(1).up(2);
    await hand.done();
    const rolling = await nextEvents(probe, 20, lifted);
    assert.ok(rolling.every(({ button }) => button === 5));
    hand.pause(100).tap([100, 600]);
    hand.pause(300).tap([100, 600]);
    await hand.done();
    await nextEvent(probe, { event: 'release', button: 1 }, { since });
    const clicked = probe.out.mark();
    hand.pause(300).tap([100, 600]);
    await hand.done();
    await nextEvent(probe, { event: 'release', button: 1 }, { since: clicked });
    const all = seen(probe, since).filter(({ event }) => event === 'press').map(({ button }) => button);
    assert.deepEqual(all.slice(all.indexOf(1)), [1, 1], 'two clicks of three taps, and no scrolling between');
    since = probe.out.mark();
  });

  await t.test('two fingers that part zoom, and the picture follows the pointer', async () => {
    const { width } = await pictureRect(phone);
    hand.down(1, [170, 420]).down(2, [220, 420]);
    await hand.stroke({ 1: [[170, 420], [20, 420]], 2: [[220, 420], [370, 420]] });
    hand.up(1).up(2).pause(300);
    const zoomed = await pictureRect(phone);
    assert.ok(zoomed.width > 3 * width, `${width}, then ${zoomed.width}`);
    for (let stroke = 0; stroke < 6; ++stroke) {
      hand.down(1, [300, 700]);
      await hand.stroke({ 1: [[300, 700], [30, 700]] }, 5);
      hand.up(1).pause(300);
    }
    hand.tap([200, 700]);
    const [press] = await next(2);
    assert.equal(press.x, 0, 'nothing but the click has been sent');
    const { left } = await pictureRect(phone);
    assert.equal(left, 0, 'the left edge is in view');
  });
});

test('the finger as the pointer, on a phone held across', async (t) => {
  const { desktop, phone, probe, hand } = await openTouchVisit(t, kAcross);
  await chooseMode(phone, 'direct');
  let since = probe.out.mark();
  const next = async (count) => {
    await hand.done();
    const events = await nextEvents(probe, count, since);
    since = probe.out.mark();
    return events;
  };
  const pressed = async (point) => `1 at ${(await pixelAt(phone, desktop, point)).join()}`;

  await t.test('a tap clicks there', async () => {
    const at = await pressed([200, 210]);
    hand.tap([200, 210]);
    assert.deepEqual(words(await next(2)), [`press ${at}`, `release ${at}`]);
  });

  await t.test('tap, tap is a double click at one place', async () => {
    const at = await pressed([300, 300]);
    for (const point of [[300, 300], [309, 296]]) {
      hand.tap(point);
      assert.deepEqual(words(await next(2)), [`press ${at}`, `release ${at}`]);
    }
  });

  await t.test('a long press is a right click', async () => {
    const [x, y] = await pixelAt(phone, desktop, [600, 200]);
    hand.down(1, [600, 200]);
    assert.deepEqual(words(await next(2)), [`press 3 at ${x},${y}`, `release 3 at ${x},${y}`]);
    hand.up(1);
  });

  await t.test('press and move drags', async () => {
    const from = await pressed([300, 100]);
    const to = await pressed([503, 251]);
    hand.pause(600).down(1, [300, 100]);
    await hand.stroke({ 1: [[300, 100], [310, 120]] }, 2);
    assert.deepEqual(words(await next(1)), [`press ${from}`]);
    await hand.stroke({ 1: [[310, 120], [503, 251]] });
    await phone.page.waitForSelector('#loupe', { state: 'visible' });
    hand.up(1);
    assert.deepEqual(words(await next(1)), [`release ${to}`]);
  });

  await t.test('two fingers scroll what is between them', async () => {
    const [x, y] = await pixelAt(phone, desktop, [400, 300]);
    hand.pause(600).down(1, [350, 300]).down(2, [450, 300]);
    await hand.stroke({ 1: [[350, 300], [350, 180]], 2: [[450, 300], [450, 180]] });
    hand.pause(200).up(1).up(2);
    const [press] = await next(1);
    assert.deepEqual([press.button, press.x, press.y], [5, x, y]);
    // The rest of the scroll is over before a click that comes after it.
    hand.pause(600).tap([10 + 200, 200]);
    await hand.done();
    await nextEvent(probe, { event: 'release', button: 1 }, { since });
    since = probe.out.mark();
  });

  await t.test('at any zoom and pan a tap lands on the pixel that is seen under it', async () => {
    for (const pinch of [
      { 1: [[400, 200], [340, 200]], 2: [[440, 200], [540, 200]] },
      { 1: [[500, 100], [520, 60]], 2: [[560, 300], [600, 350]] },
      { 1: [[300, 190], [250, 170]], 2: [[330, 200], [520, 330]] },
      { 1: [[100, 100], [330, 250]], 2: [[700, 300], [480, 260]] },
    ]) {
      hand.pause(600).down(1, pinch[1][0]).down(2, pinch[2][0]);
      await hand.stroke(pinch);
      // They go on together: the picture goes with them.
      await hand.stroke({
        1: [pinch[1][1], pinch[1][1].map((at) => at + 30)],
        2: [pinch[2][1], pinch[2][1].map((at) => at + 30)],
      });
      hand.up(1).up(2);
      await hand.done();
      for (const point of [[211, 133], [422.4, 195.7], [633, 301]]) {
        const at = await pressed(point);
        hand.pause(600).tap(point);
        assert.deepEqual(words(await next(2)), [`press ${at}`, `release ${at}`], `at ${point}`);
      }
    }
  });

  await t.test('large pixels have hard edges', async () => {
    hand.pause(600).down(1, [400, 200]).down(2, [440, 200]);
    await hand.stroke({ 1: [[400, 200], [100, 200]], 2: [[440, 200], [740, 200]] });
    hand.up(1).up(2);
    await hand.done();
    const drawn = () => phone.page.evaluate(
      () => getComputedStyle(document.getElementById('picture')).imageRendering);
    assert.equal(await drawn(), 'pixelated');
    hand.pause(600).down(1, [100, 200]).down(2, [740, 200]);
    await hand.stroke({ 1: [[100, 200], [400, 200]], 2: [[740, 200], [440, 200]] });
    hand.up(1).up(2);
    await hand.done();
    assert.equal(await drawn(), 'auto');
    assert.equal(Math.round((await pictureRect(phone)).height), 390, 'the whole picture again');
  });
});

test('a turned phone shows the whole picture again, and taps land', async (t) => {
  const { desktop, phone, probe, hand } = await openTouchVisit(t, kUpright);
  await chooseMode(phone, 'direct');
  for (const size of [kAcross.viewport, kUpright.viewport]) {
    await phone.page.setViewportSize(size);
    await phone.page.waitForFunction((width) => {
      const { left, right, top, bottom } = document.getElementById('picture').getBoundingClientRect();
      const inside = left >= 0 && top >= 0 && right <= innerWidth + 1 && bottom <= innerHeight + 1;
      return innerWidth === width && inside &&
        (right - left > innerWidth - 1 || bottom - top > innerHeight - 1);
    }, size.width);
    const point = [size.width / 2 + 31, size.height / 2 + 17];
    const at = (await pixelAt(phone, desktop, point)).join();
    const since = probe.out.mark();
    hand.pause(1000).tap(point);
    await hand.done();
    assert.deepEqual(words(await nextEvents(probe, 2, since)), [`press 1 at ${at}`, `release 1 at ${at}`]);
  }
});

test('a mouse at the phone works at any zoom, and hands the pointer over', async (t) => {
  const { desktop, phone, probe, hand } = await openTouchVisit(t, kUpright);
  hand.down(1, [170, 400]).down(2, [220, 440]);
  await hand.stroke({ 1: [[170, 400], [90, 340]], 2: [[220, 440], [300, 520]] });
  hand.up(1).up(2).pause(500);
  await hand.done();
  for (const point of [[61, 300], [333, 531]]) {
    const at = (await pixelAt(phone, desktop, point)).join();
    const since = probe.out.mark();
    await phone.mouse.click(...point, { button: 'right' });
    assert.deepEqual(words(await nextEvents(probe, 2, since)), [`press 3 at ${at}`, `release 3 at ${at}`]);
    hand.pause(500).tap([195, 650]);
    await hand.done();
    assert.deepEqual(words((await nextEvents(probe, 4, since)).slice(2)),
      [`press 1 at ${at}`, `release 1 at ${at}`]);
  }
});

test('the picture keeps clear of notches, and the loupe shows what the finger covers', async (t) => {
  const { desktop, phone } = await openVisit(t, kAcross);
  const devtools = await phone.page.context().newCDPSession(phone.page);
  await devtools.send('Emulation.setSafeAreaInsetsOverride',
    { insets: { top: 0, left: 59, right: 59, bottom: 21 } });
  await phone.page.waitForFunction(() => {
    const { left, right, top, bottom } = document.getElementById('picture').getBoundingClientRect();
    return left >= 59 && right <= innerWidth - 59 && top >= 0 && bottom <= innerHeight - 20.9;
  });
  await chooseMode(phone, 'direct');
  await desktop.probe('pattern', 3);
  const { column, row, x, y } = blockMiddles(desktop.size)[70];
  await phone.showsColours([{ x, y, colour: blockColour(column, row, 3) }]);
  const { left, top, width } = await pictureRect(phone);
  const scale = width / desktop.size.width;
  const hand = await Hand.of(phone);
  // A drag holds it there for as long as the test looks.
  const target = [left + x * scale, top + y * scale];
  hand.down(1, [200, 200]);
  await hand.stroke({ 1: [[200, 200], target] });
  await phone.page.waitForFunction((wanted) => {
    const loupe = document.getElementById('loupe');
    if (loupe.hidden) return false;
    // Beside the pointer, whose tip is in the middle.
    const at = loupe.width / 2 - 8;
    const seen = loupe.getContext('2d').getImageData(at, at, 1, 1).data;
    return wanted.every((value, channel) => Math.abs(value - seen[channel]) <= 12);
  }, blockColour(column, row, 3));
  hand.up(1);
  await hand.done();
  await phone.page.waitForSelector('#loupe', { state: 'hidden' });
});

test('no button stays down, however a drag ends', async (t) => {
  const { host, phone, probe, hand } = await openTouchVisit(t, kUpright);
  const ends = {
    'a call comes in': () => hand.cancel(),
    'a second finger lands': () => hand.down(2, [300, 600]).up(2).up(1),
    'the page loses the focus': () => phone.page.evaluate(() => dispatchEvent(new Event('blur'))),
    'the other mode is chosen': async () => {
      await phone.page.evaluate(() => document.getElementById('touch-direct').click());
      await phone.page.evaluate(() => document.getElementById('touch-trackpad').click());
    },
    'the computer ends the visit': () => host.disconnectViewer(),
  };
  for (const [name, end] of Object.entries(ends)) {
    const since = probe.out.mark();
    hand.pause(600).tap([200, 700]).down(1, [200, 700]);
    await hand.stroke({ 1: [[200, 700], [215, 710]] });
    await nextEvent(probe, { event: 'press', button: 1 }, { since });
    await end();
    await hand.done();
    await nextEvent(probe, { event: 'release', button: 1 }, { since });
    assert.equal(seen(probe, since).filter(({ event }) => event === 'release').length, 1, name);
    if (name !== 'a call comes in' && name !== 'a second finger lands') hand.up(1);
    await hand.done();
  }
});

test('the mode is remembered, and can be chosen with a keyboard', async (t) => {
  const { phone } = await openTouchVisit(t, kUpright);
  const mode = (name) => phone.page.locator(`#touch-${name}`);
  assert.equal(await mode('trackpad').getAttribute('aria-pressed'), 'true');
  await phone.page.focus('#bar-toggle');
  await phone.page.keyboard.press('Enter');
  await mode('direct').focus();
  await phone.page.keyboard.press('Enter');
  await phone.page.reload();
  await phone.live();
  assert.equal(await mode('direct').getAttribute('aria-pressed'), 'true');
  assert.equal(await mode('trackpad').getAttribute('aria-pressed'), 'false');
});
