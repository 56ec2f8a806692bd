import { openRfb } from '../peers/rfb_server.mjs';
import { photonsOfRfb } from '../photon_page.mjs';

/** One of kRfbServers with our own small client; `encoding` is "raw" or "zrle". */
export async function openRfbPeer(desktop, name, encoding) {
  const { program, connect } = await openRfb(desktop, name, encoding);
  let client = await connect();
  return {
    pid: () => program.pid,
    received: async () => ({ bytes: client.bytes, pictures: client.updates }),
    clicks: (target, count) => photonsOfRfb(client, target, count),
    firstPicture: async () => {
      client.stop();
      const began = performance.now();
      client = await connect();
      const first = performance.now() - began;
      return { first, readable: first };
    },
    stop: async () => {
      client.stop();
      await program.stop();
    },
  };
}
