#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "companion/server/core/accounts.h"
#include "companion/server/core/clock.h"
#include "companion/server/core/counters.h"
#include "companion/server/core/device_store.h"
#include "companion/server/core/limits.h"
#include "companion/server/core/log.h"
#include "companion/server/core/message_frame.h"
#include "companion/server/core/outbox.h"
#include "companion/server/core/pin_book.h"
#include "companion/server/core/rooms.h"
#include "companion/server/core/token_bucket.h"
#include "companion/server/core/try_ledger.h"
#include "companion/server/core/watchers.h"
#include "platform/secure_random.h"

namespace tovalin::server {

// Which of the two WebSocket paths a connection came to.
enum class Endpoint { host, viewer };

// The server without its sockets: takes what connections send and says, through the outbox, what
// they are told. Everything in docs/protocol.md between a frame and a frame is decided here.
// One thread.
class Switchboard {
 public:
  // What the switchboard works with; all of it outlives the switchboard.
  struct Ports {
    Outbox& outbox;
    DeviceStore& store;
    SecureRandom& random;
    const Clock& clock;
    Counters& counters;
    Log log;
    std::function<void(const std::string& pin)> pinIssued;  // empty: PINs are shown to nobody
    std::function<Json()> iceServers;                       // empty: none are handed out
  };

  explicit Switchboard(Ports ports, Limits limits = {});

  // A WebSocket is open. `address` is what wrong PIN tries are counted by.
  void opened(ConnectionId id, Endpoint endpoint, const std::string& address);

  // One whole text frame; size and UTF-8 are the socket's to check, the rest is checked here.
  void received(ConnectionId id, std::string_view text);

  void receivedBinary(ConnectionId id);

  // Pings and pongs cost what a frame costs.
  void receivedControl(ConnectionId id);

  // A WebSocket is gone: `said` when its peer sent a close frame (or broke the protocol), not when
  // it just fell silent or vanished. Ids closed from this side may be reported or not.
  void closed(ConnectionId id, bool said);

  Gauges gauges() const;

  // Does what time demands. To be called about once a second.
  void tick();

 private:
  struct Connection {
    Endpoint endpoint;
    std::string address;
    std::string hostId;   // the host that this is, or visits; empty when neither
    bool useful = false;  // has done what it came for, or tried
    Time opened;
    TokenBucket frames;
    TokenBucket bytes;
  };

  void fromHost(ConnectionId id, Connection& from, const std::string& type, const Json& message);
  void registerHost(ConnectionId id, Connection& from, const Json& message);
  void startPairing(const Connection& from);

  void fromViewer(ConnectionId id, Connection& from, const std::string& type, const Json& message);
  void pair(ConnectionId id, const Connection& from, const Json& message);
  void answerPair(ConnectionId id, const Json& reply);
  void countWrongPin();
  // Whether the viewer and the host come from one address: the same household, most likely.
  bool isNeighbour(const Connection& viewer, const std::string& hostId) const;
  void join(ConnectionId id, Connection& from, const Json& message);
  void refuseJoin(ConnectionId id, const Json& reply);
  void watch(ConnectionId id, Connection& from, const Json& message);
  void forget(ConnectionId id, Connection& from, const Json& message);
  std::optional<WatchedDevice> pairedDevice(const Json& credentials);

  bool isFlood(ConnectionId id, Connection& from, std::size_t bytes);
  void expel(ConnectionId id, CloseCode code, std::string_view reason);
  void leave(const Connection& gone, ConnectionId id, bool said);
  void tell(ConnectionId to, const Json& message);
  Json iceServers() const;

  Ports ports_;
  const Limits limits_;
  Accounts accounts_;
  PinBook pins_;
  TryLedger tries_;
  Watchers watchers_;
  Rooms rooms_;
  std::unordered_map<ConnectionId, Connection> connections_;
};

}  // namespace tovalin::server
