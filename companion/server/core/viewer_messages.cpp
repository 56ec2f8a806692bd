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
  if (!byPin && !byToken) return tell(id, pairFailed("bad-request"));

  if (const auto wait = tries_.lockedOutFor(from.address)) {
    Json reply = pairFailed("locked-out");
    reply["retryAfter"] = wait->count();
    return tell(id, reply);
  }
  std::optional<std::string> hostId;
  if (byPin) {
    hostId = pins_.hostOf(*pin);
  } else if (pins_.holds(*host, *token)) {
    hostId = host;
  }
  if (!hostId) {
    tries_.wrong(from.address);
    ports_.log("pairing refused, wrong PIN or token");
    return tell(id, pairFailed("wrong-pin"));
  }
  if (!rooms_.isOnline(*hostId)) return tell(id, pairFailed("host-offline"));

  const std::string deviceName =
      cleanText(stringField(message, "deviceName").value_or(""), limits_.nameLength);
  try {
    const std::string hostName = accounts_.hostName(*hostId);
    const Credentials made = accounts_.addDevice(*hostId, deviceName);
    pins_.spend(*hostId);
    tries_.right(from.address);
    ports_.log("device " + shortId(made.deviceId) + " paired with host " + shortId(*hostId));
    tell(id, {{"type", "paired"},
              {"hostId", *hostId},
              {"hostName", hostName},
              {"deviceId", made.deviceId},
              {"deviceKey", made.deviceKey}});
  } catch (const StoreError& error) {
    ports_.log(std::string("the store failed: ") + error.what());
    return tell(id, pairFailed("server-error"));
  }
  Json notice{{"type", "device-paired"}};
  if (!deviceName.empty()) notice["deviceName"] = deviceName;
  rooms_.tellHost(*hostId, notice);
}

void Switchboard::join(ConnectionId id, Connection& from, const Json& message) {
  const auto hostId = stringField(message, "hostId");
  const auto deviceId = stringField(message, "deviceId");
  const auto deviceKey = stringField(message, "deviceKey");
  if (!hostId || !deviceId || !deviceKey ||
      !accounts_.knowsDevice(*hostId, *deviceId, *deviceKey)) {
    ports_.log("visit refused, unknown device");
    return tell(id, joinFailed("unknown-device"));
  }
  switch (
      rooms_.join(*hostId, *deviceId, id, isTrue(message, "resume"), from.hostId, iceServers())) {
    case Rooms::Join::joined:
      from.hostId = *hostId;
      return;
    case Rooms::Join::hostOffline:
      return tell(id, joinFailed("host-offline"));
    case Rooms::Join::busy:
      return tell(id, joinFailed("busy"));
  }
}

}  // namespace tovalin::server
