#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tovalin::server {

// Names one WebSocket connection for the life of the process; never used again.
using ConnectionId = uint64_t;

// The codes this server sends; docs/protocol.md says when.
enum class CloseCode : uint16_t {
  goingAway = 1001,
  unsupportedData = 1003,
  invalidPayload = 1007,
  policyViolation = 1008,
  internalError = 1011,
  replaced = 4001,
};

// The sockets, as the core sees them. Neither operation calls back into the core before it has
// returned, and both accept ids of connections that are gone. Server thread.
class Outbox {
 public:
  virtual ~Outbox() = default;

  // Queues one text frame.
  virtual void send(ConnectionId to, std::string text) = 0;

  // Closes once what is queued has gone out.
  virtual void close(ConnectionId which, CloseCode code, std::string_view reason) = 0;
};

}  // namespace tovalin::server
