#include "companion/server/core/rooms.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "companion/server/core/relay.h"

namespace tovalin::server {

Rooms::Rooms(Outbox& outbox, const Clock& clock, const Limits& limits, Counters& counters, Log log,
             std::function<void(const std::string&)> changed)
    : outbox_(outbox),
      clock_(clock),
      limits_(limits),
      counters_(counters),
      log_(std::move(log)),
      changed_(std::move(changed)) {}

void Rooms::hostArrives(const std::string& hostId, ConnectionId host, const Json& iceServers) {
  Room& room = rooms_[hostId];
  if (room.host) {
    tell(*room.host, {{"type", "evicted"}});
    outbox_.close(*room.host, CloseCode::replaced, "replaced by a newer connection");
    log_({LogLevel::info, "host-evicted", {hostField(hostId), connectionField(*room.host)}});
  }
  room.host = host;
  tell(host, {{"type", "registered"}, {"iceServers", iceServers}});
  if (std::exchange(room.owesPeerLeft, false)) tell(host, {{"type", "peer-left"}});
  if (room.visit && room.visit->viewer) tell(*room.visit->viewer, {{"type", "host-back"}});
  log_({LogLevel::info, "host-online", {hostField(hostId), connectionField(host)}});
  changed_(hostId);
}

void Rooms::hostLeaves(const std::string& hostId, ConnectionId host) {
  Room* room = roomOfHost(hostId, host);
  if (!room) return;
  room->host.reset();
  if (room->visit && room->visit->viewer) tell(*room->visit->viewer, {{"type", "host-gone"}});
  log_({LogLevel::info, "host-offline", {hostField(hostId), connectionField(host)}});
  forgetIfEmpty(hostId);
  changed_(hostId);
}

bool Rooms::isOnline(const std::string& hostId) const {
  const auto found = rooms_.find(hostId);
  return found != rooms_.end() && found->second.host;
}

std::optional<ConnectionId> Rooms::connectionOf(const std::string& hostId) const {
  const auto found = rooms_.find(hostId);
  return found == rooms_.end() ? std::nullopt : found->second.host;
}

Presence Rooms::presence(const std::string& hostId, const std::string& deviceId) const {
  const auto found = rooms_.find(hostId);
  if (found == rooms_.end() || !found->second.host) return Presence::offline;
  const auto& visit = found->second.visit;
  return visit && visit->deviceId != deviceId ? Presence::busy : Presence::online;
}

Rooms::Join Rooms::join(const std::string& hostId, const std::string& deviceId, ConnectionId viewer,
                        bool resume, const std::string& leaving, const Json& iceServers) {
  if (!isOnline(hostId)) return Join::hostOffline;
  Room& room = rooms_[hostId];
  if (room.visit && room.visit->deviceId != deviceId) return Join::busy;
  if (leaving != hostId) viewerLeaves(leaving, viewer);

  if (room.visit && room.visit->viewer && *room.visit->viewer != viewer) {
    outbox_.close(*room.visit->viewer, CloseCode::replaced, "replaced by a newer connection");
  }
  if (resume) {
    // A visit that only the two ends remember has had its offer.
    if (!room.visit) room.visit = Visit{.deviceId = deviceId, .viewer = {}, .offered = true};
    room.visit->viewer = viewer;
  } else {
    room.visit = Visit{.deviceId = deviceId, .viewer = viewer};
  }
  tell(viewer, {{"type", "joined"}, {"iceServers", iceServers}});
  if (!resume) {
    // What the host was told when it registered may have run out.
    if (!iceServers.empty()) {
      tell(*room.host, {{"type", "registered"}, {"iceServers", iceServers}});
    }
    tell(*room.host, {{"type", "peer-joined"}});
  }
  log_({LogLevel::info,
        resume ? "visit-resumed" : "visit-begun",
        {hostField(hostId), deviceField(deviceId), connectionField(viewer)}});
  changed_(hostId);
  return Join::joined;
}

void Rooms::viewerLeaves(const std::string& hostId, ConnectionId viewer) {
  if (Room* room = roomOfViewer(hostId, viewer)) endVisit(hostId, *room);
}

void Rooms::deviceForgotten(const std::string& hostId, const std::string& deviceId) {
  const auto found = rooms_.find(hostId);
  if (found == rooms_.end() || !found->second.visit) return;
  if (found->second.visit->deviceId == deviceId) endVisit(hostId, found->second);
}

void Rooms::viewerLost(const std::string& hostId, ConnectionId viewer) {
  Room* room = roomOfViewer(hostId, viewer);
  if (!room) return;
  room->visit->viewer.reset();
  room->visit->waitsUntil = clock_.now() + limits_.lostViewerGrace;
  log_({LogLevel::info, "viewer-lost", {hostField(hostId), connectionField(viewer)}});
}

void Rooms::fromHost(const std::string& hostId, ConnectionId host, const std::string& type,
                     const Json& message) {
  Room* room = roomOfHost(hostId, host);
  if (!room || !room->visit) return;
  Visit& visit = *room->visit;

  if (type == "bye") {
    if (visit.viewer) tell(*visit.viewer, {{"type", "bye"}});
    room->visit.reset();
    log_({LogLevel::info, "visit-ended", {hostField(hostId), {"by", "host"}}});
    changed_(hostId);
    return;
  }
  std::optional<Json> relayed;
  if (type == "offer") {
    relayed = relayedDescription("offer", message);
    visit.offered = visit.offered || relayed;
  } else if (type == "ice" && visit.offered) {
    relayed = relayedCandidate(message);
  } else if (type == "lock") {
    relayed = relayedLock(message);
  }
  if (relayed && visit.viewer) relay(*visit.viewer, *relayed);
}

void Rooms::fromViewer(const std::string& hostId, ConnectionId viewer, const std::string& type,
                       const Json& message) {
  Room* room = roomOfViewer(hostId, viewer);
  if (!room || !room->host || !room->visit->offered) return;
  const auto relayed =
      type == "answer" ? relayedDescription("answer", message) : relayedCandidate(message);
  if (relayed) relay(*room->host, *relayed);
}

void Rooms::tellHost(const std::string& hostId, const Json& message) {
  const auto found = rooms_.find(hostId);
  if (found != rooms_.end() && found->second.host) tell(*found->second.host, message);
}

void Rooms::endOverdueVisits() {
  const Time now = clock_.now();
  std::vector<std::string> overdue;
  for (const auto& [hostId, room] : rooms_) {
    if (room.visit && !room.visit->viewer && now >= room.visit->waitsUntil) {
      overdue.push_back(hostId);
    }
  }
  for (const auto& hostId : overdue) endVisit(hostId, rooms_[hostId]);
}

Rooms::Room* Rooms::roomOfHost(const std::string& hostId, ConnectionId host) {
  const auto found = rooms_.find(hostId);
  return found != rooms_.end() && found->second.host == host ? &found->second : nullptr;
}

Rooms::Room* Rooms::roomOfViewer(const std::string& hostId, ConnectionId viewer) {
  const auto found = rooms_.find(hostId);
  const bool isIts =
      found != rooms_.end() && found->second.visit && found->second.visit->viewer == viewer;
  return isIts ? &found->second : nullptr;
}

void Rooms::endVisit(const std::string& hostId, Room& room) {
  room.visit.reset();
  if (room.host) {
    tell(*room.host, {{"type", "peer-left"}});
  } else {
    room.owesPeerLeft = true;
  }
  log_({LogLevel::info, "visit-ended", {hostField(hostId), {"by", "viewer"}}});
  changed_(hostId);
}

void Rooms::forgetIfEmpty(const std::string& hostId) {
  const auto found = rooms_.find(hostId);
  const Room& room = found->second;
  if (!room.host && !room.visit && !room.owesPeerLeft) rooms_.erase(found);
}

std::size_t Rooms::hostsOnline() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(rooms_, [](const auto& item) { return item.second.host.has_value(); }));
}

std::size_t Rooms::visits() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      rooms_, [](const auto& item) { return item.second.visit.has_value(); }));
}

void Rooms::relay(ConnectionId to, const Json& message) {
  ++counters_.relayed;
  tell(to, message);
}

void Rooms::tell(ConnectionId to, const Json& message) {
  outbox_.send(to, message.dump());
}

}  // namespace tovalin::server
