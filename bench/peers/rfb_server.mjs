// The RFB servers that the host is compared with, each as its users start it on a desktop that is
// there, without a password and on the loopback alone.

import net from 'node:net';
import { setTimeout as pause } from 'node:timers/promises';
import { RfbClient } from './rfb_client.mjs';

const kPatienceMs = 10000;

// Of TigerVNC's server the program itself: `x0vncserver` is a script that leaves it behind.
const kCommands = {
  x11vnc: (display, port) => ['x11vnc', '-display', display, '-rfbport', String(port), '-localhost',
    '-forever', '-shared', '-nopw', '-quiet'],
  x0vncserver: (display, port) => ['X0tigervnc', '-display', display, '-rfbport', String(port),
    '-SecurityTypes', 'None', '-localhost', '-AlwaysShared'],
};

export const kRfbServers = Object.keys(kCommands);

async function freePort() {
  const server = net.createServer();
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

async function isListening(port) {
  const socket = net.connect(port, '127.0.0.1');
  try {
    return await new Promise((resolve) => {
      socket.once('connect', () => resolve(true));
      socket.once('error', () => resolve(false));
    });
  } finally {
    socket.destroy();
  }
}

/** Starts one on the desktop: {program, connect()}; `connect` gives a client that sees the screen. */
export async function openRfb(desktop, name, encoding) {
  const port = await freePort();
  const program = desktop.run(...kCommands[name](desktop.display, port));
  const deadline = Date.now() + kPatienceMs;
  while (!(await isListening(port))) {
    if (Date.now() > deadline) throw new Error(`${name} does not listen: ${program.err.lines}`);
    await pause(50);
  }
  return { program, connect: () => RfbClient.connect(port, encoding) };
}
