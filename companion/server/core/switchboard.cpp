#include "companion/server/core/switchboard.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace tovalin::server {

Switchboard::Switchboard(Ports ports, Limits limits)
    : ports_(std::move(ports)),
      limits_(limits),
      accounts_(ports_.store, ports_.random, ports_.clock, limits_, ports_.log),
      pins_(ports_.random, ports_.clock, limits_),
      tries_(ports_.clock, limits_),
      watchers_(ports_.outbox,
                [this](const WatchedDevice& device) {
                  return rooms_.presence(device.hostId, device.deviceId);
                }),
      rooms_(ports_.outbox, ports_.clock, limits_, ports_.counters, ports_.log,
             [this](const std::string& hostId) { watchers_.hostChanged(hostId); }) {}

void Switchboard::opened(ConnectionId id, Endpoint endpoint, const std::string& address) {
  const Time now = ports_.clock.now();
  ports_.log({LogLevel::debug,
              "opened",
              {connectionField(id),
               {"kind", endpoint == Endpoint::host ? "host" : "viewer"},
               {"address", address}}});
  connections_.emplace(id,
                       Connection{.endpoint = endpoint,
                                  .address = address,
                                  .hostId = {},
                                  .opened = now,
                                  .frames = {limits_.framesAtOnce, limits_.framesPerSecond, now},
                                  .bytes = {limits_.bytesAtOnce, limits_.bytesPerSecond, now}});
}

void Switchboard::received(ConnectionId id, std::string_view text) {
  const auto found = connections_.find(id);
  ports_.counters.bytesReceived += text.size();
  if (found == connections_.end() || isFlood(id, found->second, text.size())) return;
  const auto message = parseObject(text, limits_.nestingDepth);
  if (!message) {
    return expel(id, CloseCode::invalidPayload, "not a JSON object of reasonable depth");
  }
  const auto type = stringField(*message, "type");
  if (!type) return;
  try {
    if (found->second.endpoint == Endpoint::host) {
      fromHost(id, found->second, *type, *message);
    } else {
      fromViewer(id, found->second, *type, *message);
    }
  } catch (const StoreError& error) {
    ports_.log(storeFailed(error.what()));
    expel(id, CloseCode::internalError, "the server cannot store what it must");
  }
}

void Switchboard::receivedBinary(ConnectionId id) {
  expel(id, CloseCode::unsupportedData, "text frames only");
}

void Switchboard::receivedControl(ConnectionId id) {
  const auto found = connections_.find(id);
  if (found != connections_.end()) isFlood(id, found->second, 0);
}

void Switchboard::closed(ConnectionId id, bool said) {
  if (const auto gone = connections_.extract(id)) leave(gone.mapped(), id, said);
}

void Switchboard::tick() {
  const Time now = ports_.clock.now();
  std::vector<ConnectionId> useless;
  for (const auto& [id, connection] : connections_) {
    if (!connection.useful && now >= connection.opened + limits_.firstUseful) useless.push_back(id);
  }
  for (const ConnectionId id : useless) {
    expel(id, CloseCode::policyViolation, "nothing useful came in time");
  }
  rooms_.endOverdueVisits();
  pins_.forgetExpired();
  tries_.forgetOld();
  accounts_.storeSeen();
}

// Tells the connection off as a side effect, so that no caller can forget to.
bool Switchboard::isFlood(ConnectionId id, Connection& from, std::size_t bytes) {
  const Time now = ports_.clock.now();
  if (from.frames.take(1, now) && from.bytes.take(static_cast<double>(bytes), now)) return false;
  expel(id, CloseCode::policyViolation, "too much at once");
  return true;
}

void Switchboard::expel(ConnectionId id, CloseCode code, std::string_view reason) {
  const auto gone = connections_.extract(id);
  if (!gone) return;
  ports_.log(
      {LogLevel::warning,
       "expelled",
       {connectionField(id), {"address", gone.mapped().address}, {"reason", std::string(reason)}}});
  ports_.outbox.close(id, code, reason);
  leave(gone.mapped(), id, /*said=*/true);
}

void Switchboard::leave(const Connection& gone, ConnectionId id, bool said) {
  watchers_.forgetViewer(id);
  if (gone.hostId.empty()) return;
  if (gone.endpoint == Endpoint::host) {
    rooms_.hostLeaves(gone.hostId, id);
  } else if (said) {
    rooms_.viewerLeaves(gone.hostId, id);
  } else {
    rooms_.viewerLost(gone.hostId, id);
  }
}

void Switchboard::tell(ConnectionId to, const Json& message) {
  ports_.outbox.send(to, message.dump());
}

Gauges Switchboard::gauges() const {
  const auto hosts = static_cast<std::size_t>(std::ranges::count_if(
      connections_, [](const auto& item) { return item.second.endpoint == Endpoint::host; }));
  return {.hostConnections = hosts,
          .viewerConnections = connections_.size() - hosts,
          .registeredHosts = rooms_.hostsOnline(),
          .visits = rooms_.visits()};
}

Json Switchboard::iceServers() const {
  return ports_.iceServers ? ports_.iceServers() : Json::array();
}

}  // namespace tovalin::server
