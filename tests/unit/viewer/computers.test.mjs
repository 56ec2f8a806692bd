import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ComputerStore, nameOf, proofOf } from '../../../companion/viewer/computer_store.js';
import { lastUsedWords } from '../../../companion/viewer/last_used.js';
import { FakeStorage } from './fake_world.mjs';

const kStudy = { hostId: 'h1', hostName: 'Study', deviceId: 'd1', deviceKey: 'k1' };
const kAttic = { hostId: 'h2', hostName: 'Attic', deviceId: 'd2', deviceKey: 'k2' };

const open = (storage) => new ComputerStore(() => storage);
const names = (store) => store.all.map(nameOf);

test('computers are remembered across page loads, the one used last first', () => {
  const storage = new FakeStorage();
  const store = open(storage);
  store.remember({ ...kStudy, type: 'paired' }, 1000);
  store.remember(kAttic, 2000);
  assert.deepEqual(names(open(storage)), ['Attic', 'Study']);
  store.used('h1', 3000);
  assert.deepEqual(names(open(storage)), ['Study', 'Attic']);
  assert.deepEqual(open(storage).find('h1'), { ...kStudy, alias: '', lastUsed: 3000 });
});

test('what an earlier version of the page remembered is taken over', () => {
  const storage = new FakeStorage({ 'tovalin.device': kStudy });
  assert.deepEqual(open(storage).all, [{ ...kStudy, alias: '', lastUsed: 0 }]);
  assert.equal(storage.getItem('tovalin.device'), null);
  assert.deepEqual(names(open(storage)), ['Study']);
});

test('a computer forgotten after that does not come back', () => {
  const storage = new FakeStorage({ 'tovalin.device': kStudy });
  open(storage).forget('h1');
  assert.deepEqual(open(storage).all, []);
});

test('an alias takes the place of the name, and an empty one gives it back', () => {
  const storage = new FakeStorage({ 'tovalin.computers': [kStudy] });
  open(storage).rename('h1', '  Work ');
  assert.deepEqual(names(open(storage)), ['Work']);
  open(storage).rename('h1', ' ');
  assert.deepEqual(names(open(storage)), ['Study']);
});

test('a computer that is paired again keeps its alias, and its old pairing is to be ended', () => {
  const storage = new FakeStorage({ 'tovalin.computers': [{ ...kStudy, alias: 'Work' }] });
  open(storage).remember({ ...kStudy, deviceId: 'd9', deviceKey: 'k9' });
  const store = open(storage);
  assert.deepEqual(names(store), ['Work']);
  assert.deepEqual(proofOf(store.find('h1')), { hostId: 'h1', deviceId: 'd9', deviceKey: 'k9' });
  assert.deepEqual(store.farewells.map(proofOf), [proofOf(kStudy)]);
});

test('who is forgotten is kept for a farewell until the server has heard it', () => {
  const storage = new FakeStorage({ 'tovalin.computers': [kStudy, kAttic] });
  open(storage).forget('h1');
  assert.deepEqual(names(open(storage)), ['Attic']);
  assert.deepEqual(open(storage).farewells.map(proofOf), [proofOf(kStudy)]);
  open(storage).farewellTold('h1');
  assert.deepEqual(open(storage).farewells, []);
});

test('forgetting silently needs no farewell', () => {
  const store = open(new FakeStorage({ 'tovalin.computers': [kStudy] }));
  store.forget('h1', { silently: true });
  assert.deepEqual([store.all, store.farewells], [[], []]);
});

test('what another window of the browser does is known here, and is not undone', () => {
  const storage = new FakeStorage({ 'tovalin.computers': [kStudy] });
  const here = open(storage);
  open(storage).remember(kAttic);
  here.reload();
  here.rename('h1', 'Work');
  assert.deepEqual(names(open(storage)).sort(), ['Attic', 'Work']);
  open(storage).forget('h2');
  here.reload();
  assert.deepEqual(names(here), ['Work']);
  assert.deepEqual(here.farewells.map(({ hostId }) => hostId), ['h2']);
});

test('the name of this device is remembered', () => {
  const storage = new FakeStorage();
  assert.equal(open(storage).deviceName, '');
  open(storage).callDevice('My phone');
  assert.equal(open(storage).deviceName, 'My phone');
});

for (const value of [
  null, {}, 'text', [null], [{ hostId: 'h' }], [{ ...kStudy, deviceKey: 5 }], [{ ...kStudy, hostId: '' }],
]) {
  test(`a stored ${JSON.stringify(value)} counts as no computers`, () => {
    assert.deepEqual(open(new FakeStorage({ 'tovalin.computers': value })).all, []);
  });
}

test('one spoilt entry does not take the others with it', () => {
  const storage = new FakeStorage({ 'tovalin.computers': [{ hostId: 5 }, { ...kStudy, lastUsed: 'x' }] });
  assert.deepEqual(open(storage).all, [{ ...kStudy, alias: '', lastUsed: 0 }]);
});

test('where the browser forbids storage a pairing lasts as long as the page', () => {
  const store = new ComputerStore(() => {
    throw new Error('forbidden');
  });
  store.remember(kStudy);
  assert.deepEqual(names(store), ['Study']);
  store.forget('h1');
  assert.deepEqual(store.all, []);
});

for (const [then, words] of [
  [0, 'Not used yet'],
  ['2026-03-10T00:01:00Z', 'Used today'],
  ['2026-03-09T23:59:00Z', 'Used yesterday'],
  ['2026-03-08T12:00:00Z', 'Used on 8 March'],
  ['2025-12-31T12:00:00Z', 'Used on 31 December 2025'],
]) {
  test(`a computer last used ${then} says "${words}"`, () => {
    const now = Date.parse('2026-03-10T18:00:00Z');
    assert.equal(lastUsedWords(then && Date.parse(then), now, 'UTC'), words);
  });
}
