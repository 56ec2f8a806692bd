#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "companion/server/core/clock.h"
#include "companion/server/core/counters.h"
#include "companion/server/core/limits.h"
#include "companion/server/core/log.h"
#include "companion/server/core/message_frame.h"
#include "companion/server/core/outbox.h"
#include "companion/server/core/presence.h"

namespace tovalin::server {

// Hosts on line, their visits, and what passes between the two. Callers have checked who is who;
// a connection that is not (or no longer) a room's host or viewer has no effect here, so late
// messages of a replaced connection are harmless. Server thread.
class Rooms {
 public:
  enum class Join { joined, hostOffline, busy };

  // `changed` is called after a host came or went, or got or lost a visitor.
  Rooms(Outbox& outbox, const Clock& clock, const Limits& limits, Counters& counters, Log log,
        std::function<void(const std::string& hostId)> changed);

  // Puts a host on line: evicts the connection it had, answers "registered", tells it about a
  // visitor who left meanwhile, and tells a visitor who stayed that it is back.
  void hostArrives(const std::string& hostId, ConnectionId host, const Json& iceServers);

  // Takes a host off line. Its visit stays: the peer connection may well live on.
  void hostLeaves(const std::string& hostId, ConnectionId host);

  bool isOnline(const std::string& hostId) const;

  // The host's connection; nothing while it is off line.
  std::optional<ConnectionId> connectionOf(const std::string& hostId) const;

  // How the host is for a device that is paired with it.
  Presence presence(const std::string& hostId, const std::string& deviceId) const;

  // Begins, begins anew or (with `resume`) takes up a visit, and answers "joined". Other results
  // change nothing and answer nothing. `leaving` is the host this connection visits so far.
  Join join(const std::string& hostId, const std::string& deviceId, ConnectionId viewer,
            bool resume, const std::string& leaving, const Json& iceServers);

  // The viewer ends its visit.
  void viewerLeaves(const std::string& hostId, ConnectionId viewer);

  // The viewer's connection broke; the visit waits for a while for its device to come back.
  void viewerLost(const std::string& hostId, ConnectionId viewer);

  // The device is no longer paired with the host; a visit of it ends.
  void deviceForgotten(const std::string& hostId, const std::string& deviceId);

  // "offer", "ice", "lock" and "bye" from a host; "answer" and "ice" from a viewer.
  void fromHost(const std::string& hostId, ConnectionId host, const std::string& type,
                const Json& message);
  void fromViewer(const std::string& hostId, ConnectionId viewer, const std::string& type,
                  const Json& message);

  // Sends to the host, if it is on line.
  void tellHost(const std::string& hostId, const Json& message);

  std::size_t hostsOnline() const;
  std::size_t visits() const;

  // Ends the visits whose viewer did not come back in time.
  void endOverdueVisits();

 private:
  struct Visit {
    std::string deviceId;
    std::optional<ConnectionId> viewer;  // nothing while it is lost
    Time waitsUntil{};                   // meaningful while it is lost
    bool offered = false;                // descriptions and candidates before the offer are stale
  };
  struct Room {
    std::optional<ConnectionId> host;
    std::optional<Visit> visit;
    bool owesPeerLeft = false;  // the visit ended while the host was off line
  };

  Room* roomOfHost(const std::string& hostId, ConnectionId host);
  Room* roomOfViewer(const std::string& hostId, ConnectionId viewer);
  void endVisit(const std::string& hostId, Room& room);
  void forgetIfEmpty(const std::string& hostId);
  void relay(ConnectionId to, const Json& message);
  void tell(ConnectionId to, const Json& message);

  Outbox& outbox_;
  const Clock& clock_;
  const Limits& limits_;
  Counters& counters_;
  Log log_;
  const std::function<void(const std::string&)> changed_;
  std::map<std::string, Room> rooms_;
};

}  // namespace tovalin::server
