// The switchboard's half that faces viewers.

#include <algorithm>
#include <string>

#include "companion/server/core/clean_text.h"
#include "companion/server/core/switchboard.h"

namespace tovalin::server {
namespace {

bool isPin(const std::string& text) {
  return text.size() == 6 && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

Json pairFailed(const char* reason) {
  return {{"type", "pair-failed"}, {"reason", reason}};
}

Json lockedOut(std::chrono::seconds wait) {
  Json reply = pairFailed("locked-out");
  reply["retryAfter"] = wait.count();
  return reply;
}

Json joinFailed(const char* reason) {
  return {{"type", "join-failed"}, {"reason", reason}};
}

bool isTrue(const Json& message, const char* key) {
  const auto found = message.find(key);
  return found != message.end() && found->is_boolean() && found->get<bool>();
}

}  // namespace

void Switchboard::fromViewer(ConnectionId id, Connection& from, const std::string& type,
                             const Json& message) {
  if (type == "pair") {
    from.useful = true;
    pair(id, from, message);
  } else if (type == "join") {
    from.useful = true;
    join(id, from, message);
  } else if (type == "watch") {
    watch(id, from, message);
  } else if (type == "forget") {
    forget(id, from, message);
  } else if (type == "leave") {
    rooms_.viewerLeaves(from.hostId, id);
    from.hostId.clear();
  } else if (type == "answer" || type == "ice") {
    rooms_.fromViewer(from.hostId, id, type, message);
  }
}

void Switchboard::pair(ConnectionId id, const Connection& from, const Json& message) {
  const auto pin = stringField(message, "pin");
  const auto host = stringField(message, "host");
  const auto token = stringField(message, "token");
  const bool byPin = pin && isPin(*pin) && !host && !token;
  const bool byToken = !pin && host && token;
  if (!byPin && !byToken) return answerPair(id, pairFailed("bad-request"));

  if (const auto wait = tries_.lockedOutFor(from.address)) return answerPair(id, lockedOut(*wait));
  std::optional<std::string> hostId;
  if (byPin) {
    hostId = pins_.hostOf(*pin);
    const auto wait = tries_.pinsClosedFor();
    if (wait && !(hostId && isNeighbour(from, *hostId))) {
      tries_.wrong(from.address);  // a right PIN too, or the answers would tell which is right
      return answerPair(id, lockedOut(*wait));
    }
  } else if (pins_.holds(*host, *token)) {
    hostId = host;
  }
  if (!hostId) {
    tries_.wrong(from.address);
    if (byPin) countWrongPin();
    ports_.log({LogLevel::warning,
                "pairing-refused",
                {connectionField(id), {"address", from.address}, {"reason", "wrong-pin"}}});
    return answerPair(id, pairFailed("wrong-pin"));
  }
  if (!rooms_.isOnline(*hostId)) return answerPair(id, pairFailed("host-offline"));

  const std::string deviceName =
      cleanText(stringField(message, "deviceName").value_or(""), limits_.nameLength);
  try {
    const std::string hostName = accounts_.hostName(*hostId);
    const auto [made, dropped] = accounts_.addDevice(*hostId, deviceName);
    pins_.spend(*hostId);
    tries_.right(from.address);
    ports_.log({LogLevel::info,
                "paired",
                {hostField(*hostId), deviceField(made.deviceId), connectionField(id)}});
    answerPair(id, {{"type", "paired"},
                    {"hostId", *hostId},
                    {"hostName", hostName},
                    {"deviceId", made.deviceId},
                    {"deviceKey", made.deviceKey}});
    for (const auto& deviceId : dropped) watchers_.deviceGone({*hostId, deviceId});
  } catch (const StoreError& error) {
    ports_.log(storeFailed(error.what()));
    return answerPair(id, pairFailed("server-error"));
  }
  Json notice{{"type", "device-paired"}};
  if (!deviceName.empty()) notice["deviceName"] = deviceName;
  rooms_.tellHost(*hostId, notice);
}

void Switchboard::answerPair(ConnectionId id, const Json& reply) {
  ++ports_.counters.pairings[reply.value("reason", "paired")];
  tell(id, reply);
}

void Switchboard::refuseJoin(ConnectionId id, const Json& reply) {
  ++ports_.counters.joins[reply.at("reason").get<std::string>()];
  tell(id, reply);
}

void Switchboard::countWrongPin() {
  tries_.wrongPin();
  if (tries_.pinsClosedFor()) ports_.log({LogLevel::warning, "pins-held-up"});
}

bool Switchboard::isNeighbour(const Connection& viewer, const std::string& hostId) const {
  const auto host = rooms_.connectionOf(hostId);
  const auto found = host ? connections_.find(*host) : connections_.end();
  return found != connections_.end() && !viewer.address.empty() &&
         found->second.address == viewer.address;
}

void Switchboard::join(ConnectionId id, Connection& from, const Json& message) {
  const auto device = pairedDevice(message);
  if (!device) {
    ports_.log({LogLevel::warning,
                "join-refused",
                {connectionField(id), {"address", from.address}, {"reason", "unknown-device"}}});
    return refuseJoin(id, joinFailed("unknown-device"));
  }
  accounts_.noteSeen(device->deviceId);
  switch (rooms_.join(device->hostId, device->deviceId, id, isTrue(message, "resume"), from.hostId,
                      iceServers())) {
    case Rooms::Join::joined:
      ++ports_.counters.joins["joined"];
      from.hostId = device->hostId;
      return;
    case Rooms::Join::hostOffline:
      return refuseJoin(id, joinFailed("host-offline"));
    case Rooms::Join::busy:
      return refuseJoin(id, joinFailed("busy"));
  }
}

}  // namespace tovalin::server
