#pragma once

#include <memory>

#include "platform/web_socket.h"

namespace tovalin {

// How long the sockets wait, in seconds.
struct WebSocketTimes {
  // From resume() to an open socket; a minute is what URL loading layers usually allow.
  double handshake = 60;
  // For a closing socket to get rid of what it has to send; a dead peer would hold it for long.
  double closing = 2;
};

// WebSockets by Qt, all of them on one thread of their own, named "tovalin-websocket" (cut to 15
// characters by the kernel). Proxies are the system's; redirects are not followed. A message of
// more than 16 MiB ends its socket, as does a peer that sends on while nobody receives. Frames that
// came before a socket died are still received. A text that is cut within a character, from one
// fragment to the next, is taken for ill-formed and ends its socket (seen with Qt 6.4.2).
//
// Made and destroyed on the main thread, while the application exists. Destruction closes every
// socket and completes what is pending; a task that is left does nothing any more.
std::unique_ptr<WebSockets> makeQtWebSockets(WebSocketTimes times = {});

}  // namespace tovalin
