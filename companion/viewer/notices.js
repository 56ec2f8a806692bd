// Every state the person may find themselves in, in words. `busy`: something is being tried, no
// action is needed. `action`: what the main button says.
const kNotices = {
  connecting: { title: 'Connecting…', busy: true },
  'no-server': {
    title: 'No connection to the server',
    text: 'Trying again. Check that this device is online.',
    busy: true,
  },
  'device-offline': {
    title: 'This device is offline',
    text: 'The screen opens as soon as there is a network.',
    busy: true,
  },
  waiting: { title: 'Opening the screen…', busy: true },
  reconnecting: { title: 'Reconnecting…', text: 'The picture was interrupted.', busy: true },
  'host-offline': {
    title: 'The computer is offline',
    text: 'It may be off, asleep or without network. The screen opens as soon as it is back.',
    busy: true,
  },
  'host-gone': {
    title: 'The computer went offline',
    text: 'The screen opens again as soon as it is back.',
    busy: true,
  },
  busy: {
    title: 'Someone else is connected',
    text: 'The computer shows its screen to one device at a time.',
    action: 'Try again',
  },
  'no-answer': {
    title: 'The computer does not answer',
    text: 'It is online but did not send its screen.',
    action: 'Try again',
  },
  blocked: {
    title: 'No way to the computer',
    text:
      'It is online, but this network or the computer’s lets no picture through. Try another ' +
      'network, such as mobile data.',
    action: 'Try again',
  },
  ended: {
    title: 'Disconnected at the computer',
    text: 'The person at the computer ended the visit.',
    action: 'Connect again',
  },
  'taken-over': {
    title: 'Open in another window',
    text: 'This device connected again from another window or tab.',
    action: 'Use it here',
  },
  left: { title: 'Disconnected', action: 'Connect again' },
};

/** Whether something is being tried without anybody's help. */
export function isWaiting(key) {
  return kNotices[key].busy === true;
}

/** The words for a notice; `host` takes the place of "the computer" where its name is known. */
export function noticeFor(key, host = '') {
  const { title, text = '', busy = false, action = '' } = kNotices[key];
  const named = (words) =>
    host ? words.replace('The computer', host).replace('at the computer', `at ${host}`) : words;
  return { title: named(title), text, busy, action };
}

const kPairingTroubles = {
  'wrong-pin': 'That PIN is not right, or it has expired. Check the computer’s screen.',
  'bad-link': 'This link has been used or has expired. Enter the PIN instead.',
  'locked-out': 'Too many wrong tries. Wait a minute, then try again.',
  'host-offline': 'The computer is offline just now. The PIN stays valid: try again in a moment.',
  'no-server': 'No connection to the server. Check that this device is online.',
  'unknown-device': 'The computer no longer knows this device. Pair it again.',
};

const kPresences = {
  online: 'Online',
  offline: 'Offline',
  busy: 'In use by another device',
  'unknown-device': 'No longer paired',
};

/** The words for a computer's state in the list; none while it is not known. */
export function presenceWords(state) {
  return kPresences[state] ?? '';
}

/** While the server looks at no try from here. */
export function lockedOutWords(seconds) {
  const wait = seconds === 1 ? '1 second' : `${seconds} seconds`;
  return `Too many wrong tries. You can try again in ${wait}.`;
}

export function pairingTrouble(key) {
  return kPairingTroubles[key] ?? 'Pairing did not work. Start it again at the computer.';
}
