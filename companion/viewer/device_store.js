const kKey = 'tovalin.device';
const kFields = ['hostId', 'hostName', 'deviceId', 'deviceKey'];

/**
 * What this browser remembers of the computer it is paired with. When the browser forbids storage
 * the pairing lasts as long as the page.
 */
export class DeviceStore {
  #storage;
  #device = null;

  /** `storage` returns the browser's; merely asking for it may be forbidden. */
  constructor(storage) {
    this.#storage = storage;
    this.#device = this.#read();
  }

  /** {hostId, hostName, deviceId, deviceKey}, or null when not paired. */
  get device() {
    return this.#device;
  }

  remember(device) {
    this.#device = Object.fromEntries(kFields.map((field) => [field, String(device[field] ?? '')]));
    try {
      this.#storage().setItem(kKey, JSON.stringify(this.#device));
    } catch {
      // Private windows may refuse: the visit still works, the return does not.
    }
  }

  forget() {
    this.#device = null;
    try {
      this.#storage().removeItem(kKey);
    } catch {
      // As above: nothing was stored then.
    }
  }

  #read() {
    try {
      const device = JSON.parse(this.#storage().getItem(kKey));
      return kFields.every((field) => typeof device?.[field] === 'string') ? device : null;
    } catch {
      return null;
    }
  }
}
