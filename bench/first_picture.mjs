// How long a visit to the host takes to show its first picture, from the server's word "joined",
// which the host gets as "peer-joined" at the same moment, to the first frame that the browser gave to its
// compositor.

import { kStatus } from '../tests/e2e/support/host.mjs';

/* Runs in the page. */
function note() {
  globalThis.benchTimes = {};
  globalThis.WebSocket = class extends globalThis.WebSocket {
    constructor(...words) {
      super(...words);
      this.addEventListener('message', ({ data }) => {
        if (JSON.parse(data).type === 'joined') globalThis.benchTimes.joined ??= performance.now();
      });
    }
  };
  document.addEventListener('DOMContentLoaded', () => {
    document.getElementById('picture').requestVideoFrameCallback((_, metadata) => {
      globalThis.benchTimes.picture = metadata.presentationTime;
    });
  });
}

/** To be called once before the first visit that is measured. */
export function prepareFirstPictures(phone) {
  return phone.page.addInitScript(note);
}

/** Visits anew; milliseconds. */
export async function firstPicture(phone, host) {
  const since = host.mark();
  await phone.page.reload();
  await phone.live();
  await host.status(kStatus.connected, { since });
  const noted = await phone.page.waitForFunction(
    () => globalThis.benchTimes.picture && globalThis.benchTimes.joined && globalThis.benchTimes);
  const { joined, picture } = await noted.jsonValue();
  return picture - joined;
}
