// The media library's own ceiling, 2.5 Mbit/s at 1080p, makes scrolling text a slide show. Only the
// receiving side can raise it. The start value shortens the blurred seconds at the beginning;
// bandwidth estimation still governs below the ceiling, so there is deliberately no lower bound.
const kMaxKbps = 30000;
const kStartKbps = 6000;
const kBitrates = `x-google-max-bitrate=${kMaxKbps};x-google-start-bitrate=${kStartKbps}`;

/**
 * The answer in which the host, not the browser, begins the encryption handshake. A browser's first
 * message is larger than a packet and overtakes the end of ICE at the host, which keeps one packet of
 * what comes too early: the rest is sent again, 50 ms later at best. The host's is small.
 */
export function letHostBeginHandshake(sdp) {
  return sdp.replaceAll(/^a=setup:active(?=\r?$)/gm, 'a=setup:passive');
}

/**
 * The answer with a higher bitrate ceiling for VP8. Only for sending to the host: the browser's own
 * local description stays without it.
 */
export function raiseBitrateCeiling(sdp) {
  const lines = sdp.split('\r\n');
  const payloads = new Set();
  for (const line of lines) {
    const match = /^a=rtpmap:(\d+) VP8\//i.exec(line);
    if (match) payloads.add(match[1]);
  }
  if (payloads.size === 0) return sdp;

  const described = new Set();
  for (const [index, line] of lines.entries()) {
    const match = /^a=fmtp:(\d+) /.exec(line);
    if (!match || !payloads.has(match[1])) continue;
    described.add(match[1]);
    lines[index] = `${line};${kBitrates}`;
  }
  return lines
    .flatMap((line) => {
      const payload = /^a=rtpmap:(\d+) /.exec(line)?.[1];
      const missing = payloads.has(payload) && !described.has(payload);
      return missing ? [line, `a=fmtp:${payload} ${kBitrates}`] : [line];
    })
    .map((line) => liftBandwidth(line))
    .join('\r\n');
}

// A bandwidth line of the section wins over the codec's parameters; one that is lower would undo
// the ceiling.
function liftBandwidth(line) {
  const match = /^b=AS:(\d+)$/.exec(line);
  return match && Number(match[1]) < kMaxKbps ? `b=AS:${kMaxKbps}` : line;
}
