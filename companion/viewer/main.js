import { ComputerStore } from './computer_store.js';
import { Control } from './control.js';
import { Cursor } from './cursor.js';
import { DeskView } from './desk_view.js';
import { defaultDeviceName } from './device_name.js';
import { pictureCounters } from './figures.js';
import { FiguresView } from './figures_view.js';
import { HomeView } from './home_view.js';
import { KeyBar } from './key_bar.js';
import { isModifier } from './key_codes.js';
import { Keyboard } from './keyboard.js';
import { LastPicture } from './last_picture.js';
import { Loupe } from './loupe.js';
import { NoticeView } from './notice_view.js';
import { PageLife } from './page_life.js';
import { parsePairLink } from './pair_link.js';
import { PairingView } from './pairing_view.js';
import { Pointer } from './pointer.js';
import { Session } from './session.js';
import { SoftKeyboard } from './soft_keyboard.js';
import { Stage } from './stage.js';
import { TextField } from './text_field.js';
import { TouchInput } from './touch_input.js';
import { TouchMode } from './touch_mode.js';
import { UnlockSheet } from './unlock_sheet.js';
import { WakeLock } from './wake_lock.js';

// Beside the page, so that a proxy may serve both under any path.
const address = new URL('viewer', location.href);
address.protocol = location.protocol === 'https:' ? 'wss:' : 'ws:';
address.search = address.hash = '';

const isMac = /Mac/.test(navigator.platform);
const isTouch = matchMedia('(pointer: coarse)').matches;

const store = new ComputerStore(() => localStorage);
// Apple's phones compose only what will be exchanged for something else, as desktops do.
const composesWords = isTouch && !/iPhone|iPad|Mac/.test(navigator.platform);

const control = new Control(() => session.channel);
const typing = document.getElementById('typing');
const keyboard = new Keyboard(control, {
  isMac,
  language: navigator.language,
  fieldWants: ({ target, code }) => target === typing && (isTouch || !code),
});
const textField = new TextField(typing, keyboard, composesWords);
const keyBar = new KeyBar(document.getElementById('keys'), keyboard, () => textField.leave());
const cursor = new Cursor(control, () => keyboard.engage(), () => textField.leave());
const stage = new Stage(() => cursor.place);
const pointer = new Pointer(cursor, (point) => stage.locate(point));
const sheet = new UnlockSheet(
  { isConnected: () => control.isOpen, unlock: (password) => control.unlock(password) },
  takeKeyboard);
const desk = new DeskView({
  showKeyboard: () => (keyBar.isShown ? textField.blur() : textField.focus()),
  figures: () => figures.toggle(),
  home: () => session.home(),
  leave: () => session.leave(),
});
const pairing = new PairingView(
  store.deviceName || defaultDeviceName(navigator.userAgent, navigator.maxTouchPoints),
  { pair: (proof, name) => session.pair(proof, name), home: () => session.home() });
const home = new HomeView({
  open: (hostId) => session.open(hostId),
  rename: (hostId, alias) => session.rename(hostId, alias),
  forget: (hostId) => session.forget(hostId),
  add: () => session.askForPin(),
});
const notice = new NoticeView(() => session.join(), () => session.home());

const touch = new TouchInput(cursor, stage, new Loupe(desk.video, stage));
const touchMode = new TouchMode(() => localStorage, (mode) => touch.use(mode));
touch.use(touchMode.mode);

const figures = new FiguresView(() => session.report());
const lastPicture = new LastPicture(desk.video);
const wakeLock = new WakeLock();

const session = new Session(address.href, store, {
  changed: showPhase,
  picture: (stream) => desk.setPicture(stream),
  interrupted: () => lastPicture.keep(),
  locked: (locked) => {
    if (locked) releaseAll(); // what goes up while the sheet has the keyboard would be missed
    sheet.setLocked(locked);
  },
});

function showPhase() {
  const views = { home, pairing, notice, live: desk };
  const wasLive = desk.isShown;
  for (const [phase, view] of Object.entries(views)) {
    if (phase === session.phase) view.show(session);
    else view.hide();
  }
  if (!session.isComing) lastPicture.drop();
  wakeLock.want(desk.isShown);
  figures.setLive(desk.isShown);
  document.title = desk.isShown && session.hostName ? session.hostName : 'Tovalin';
  if (wasLive && !desk.isShown) {
    goneFromSight();
    // What is hidden with the focus does not always hear that it has lost it.
    textField.blur();
    keyBar.hide();
  }
  if (wasLive || !desk.isShown) return;
  takeKeyboard();
  if (isTouch) touchMode.welcome();
}

// On touch screens the focus would raise the keyboard over the picture unasked.
function takeKeyboard() {
  if (desk.isShown && !sheet.isOpen && !isTouch) textField.focus();
}

function releaseAll() {
  pointer.releaseAll();
  touch.releaseAll();
  keyboard.releaseAll();
}

function goneFromSight() {
  textField.leave();
  releaseAll();
  sheet.forget();
}

if (isTouch) {
  typing.addEventListener('focus', () => keyBar.show());
  typing.addEventListener('blur', () => keyBar.hide());
}
// The focus stays when a phone's keyboard is put away, and then could not call it up again.
new SoftKeyboard(visualViewport, document.documentElement, () => textField.blur());

pointer.attach(stage.surface);
stage.surface.addEventListener('pointerdown', takeKeyboard);

const bar = document.getElementById('bar');
const keysAreTheirs = ({ target }) => desk.isShown && !sheet.isOpen && !bar.contains(target);
addEventListener('keydown', (event) => {
  if (!keysAreTheirs(event) || !keyboard.keyDown(event)) return;
  event.preventDefault();
  if (!isModifier(event.code)) textField.leave();
});
addEventListener('keyup', (event) => {
  if (keysAreTheirs(event) && keyboard.keyUp(event)) event.preventDefault();
});

addEventListener('blur', releaseAll);
addEventListener('pagehide', goneFromSight);
document.addEventListener('visibilitychange', () => document.hidden && goneFromSight());
addEventListener('storage', () => {
  store.reload();
  if (session.phase === 'home') home.show(session);
});
new PageLife((awayMs) => session.back(awayMs));

function openLink() {
  const link = parsePairLink(location.hash);
  if (!link) return false;
  // Used once and then worthless: it has no business in the history.
  history.replaceState(null, '', location.pathname + location.search);
  session.pair({ host: link.host, token: link.token }, pairing.deviceName);
  return true;
}
addEventListener('hashchange', openLink);
if (!openLink()) session.start();

// Read-only, for tests and for the curious.
globalThis.tovalin = Object.freeze({
  get state() {
    const { phase, notice: key, trouble, unsteady } = session;
    return { phase, notice: key, trouble, unsteady };
  },
  stats: async () => pictureCounters(await session.report()),
});
