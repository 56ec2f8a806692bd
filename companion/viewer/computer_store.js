const kKey = 'tovalin.computers';
const kFarewellsKey = 'tovalin.farewells';
const kDeviceNameKey = 'tovalin.deviceName';
const kSingleKey = 'tovalin.device'; // the one computer that earlier versions of the page knew
const kProof = ['hostId', 'deviceId', 'deviceKey'];

/**
 * The computers this browser is paired with, and what it calls itself. A computer is {hostId,
 * hostName, deviceId, deviceKey, alias, lastUsed}: `alias` is this device's own name for it or empty,
 * `lastUsed` milliseconds since 1970 or 0. When the browser forbids storage all of it lasts as long
 * as the page.
 */
export class ComputerStore {
  #storage;
  #computers = [];
  #farewells = [];
  #deviceName = '';

  /** `storage` returns the browser's; merely asking for it may be forbidden. */
  constructor(storage) {
    this.#storage = storage;
    this.#computers = computersIn(this.#read(kKey) ?? [this.#read(kSingleKey)]);
    this.#farewells = computersIn(this.#read(kFarewellsKey));
    const name = this.#read(kDeviceNameKey);
    this.#deviceName = typeof name === 'string' ? name : '';
    if (this.#computers.length > 0) this.#save();
    this.#remove(kSingleKey);
  }

  /** Another window of this browser has paired, renamed or forgotten: what it wrote holds here, too. */
  reload() {
    this.#computers = computersIn(this.#read(kKey));
    this.#farewells = computersIn(this.#read(kFarewellsKey));
  }

  /** The one used last comes first. */
  get all() {
    return [...this.#computers].sort((a, b) => b.lastUsed - a.lastUsed);
  }

  /** Computers forgotten here that the server has not been told about yet. */
  get farewells() {
    return [...this.#farewells];
  }

  /** What the person called this device when it was last paired; empty before that. */
  get deviceName() {
    return this.#deviceName;
  }

  find(hostId) {
    return this.#computers.find((computer) => computer.hostId === hostId) ?? null;
  }

  /** Keeps a new pairing. An earlier one of the same computer is replaced, its alias stays. */
  remember(paired, now = Date.now()) {
    const earlier = this.find(paired.hostId);
    if (earlier && earlier.deviceId !== paired.deviceId) this.#farewells.push(earlier);
    const alias = earlier?.alias ?? '';
    this.#replace(paired.hostId, computerFrom({ ...paired, alias, lastUsed: now }));
  }

  used(hostId, now = Date.now()) {
    this.#change(hostId, { lastUsed: now });
  }

  /** An empty alias brings the computer's own name back. */
  rename(hostId, alias) {
    this.#change(hostId, { alias: alias.trim() });
  }

  /** `silently`: the server knows already. */
  forget(hostId, { silently = false } = {}) {
    const computer = this.find(hostId);
    if (!computer) return;
    if (!silently) this.#farewells.push(computer);
    this.#replace(hostId, null);
  }

  /** The server has heard that this device left the computer. */
  farewellTold(hostId) {
    this.#farewells = this.#farewells.filter((farewell) => farewell.hostId !== hostId);
    this.#save();
  }

  callDevice(name) {
    this.#deviceName = name;
    this.#save();
  }

  #change(hostId, change) {
    const computer = this.find(hostId);
    if (computer) this.#replace(hostId, { ...computer, ...change });
  }

  #replace(hostId, computer) {
    this.#computers = this.#computers.filter((other) => other.hostId !== hostId);
    if (computer) this.#computers.push(computer);
    this.#save();
  }

  #save() {
    this.#write(kKey, this.#computers);
    this.#write(kFarewellsKey, this.#farewells);
    this.#write(kDeviceNameKey, this.#deviceName);
  }

  #read(key) {
    try {
      return JSON.parse(this.#storage().getItem(key));
    } catch {
      return null;
    }
  }

  #write(key, value) {
    try {
      this.#storage().setItem(key, JSON.stringify(value));
    } catch {
      // Private windows may refuse: the visit still works, the return does not.
    }
  }

  #remove(key) {
    try {
      this.#storage().removeItem(key);
    } catch {
      // As above: nothing was stored then.
    }
  }
}

/** What the person calls the computer. */
export function nameOf(computer) {
  return computer?.alias || computer?.hostName || '';
}

/** What shows the server that this device may visit the computer. */
export function proofOf(computer) {
  return Object.fromEntries(kProof.map((field) => [field, computer[field]]));
}

function computersIn(list) {
  if (!Array.isArray(list)) return [];
  const valid = list.filter(
    (one) => kProof.every((field) => typeof one?.[field] === 'string' && one[field] !== ''));
  return valid.map(computerFrom);
}

function computerFrom({ hostId, hostName, deviceId, deviceKey, alias, lastUsed }) {
  const text = (value) => (typeof value === 'string' ? value : '');
  return {
    hostId, hostName: text(hostName), deviceId, deviceKey, alias: text(alias),
    lastUsed: Number.isFinite(lastUsed) ? lastUsed : 0,
  };
}
