// The switchboard's half that faces hosts.

#include "companion/server/core/clean_text.h"
#include "companion/server/core/switchboard.h"

namespace tovalin::server {

void Switchboard::fromHost(ConnectionId id, Connection& from, const std::string& type,
                           const Json& message) {
  if (from.hostId.empty()) {
    if (type == "register") registerHost(id, from, message);
  } else if (type == "pairing-start") {
    startPairing(from);
  } else if (type == "dbg") {
    const auto text = stringField(message, "m");
    if (text) {
      ports_.log({LogLevel::info,
                  "host-says",
                  {hostField(from.hostId), {"text", cleanText(*text, limits_.dbgLength)}}});
    }
  } else {
    rooms_.fromHost(from.hostId, id, type, message);
  }
}

void Switchboard::registerHost(ConnectionId id, Connection& from, const Json& message) {
  from.useful = true;  // even when refused: a closed socket would only make the host come again
  const auto hostId = stringField(message, "hostId");
  const auto hostKey = stringField(message, "hostKey");
  auto admitted = Accounts::Host::refused;
  if (stringField(message, "role") == "host" && hostId && hostKey) {
    const std::string name =
        cleanText(stringField(message, "name").value_or(""), limits_.nameLength);
    admitted = accounts_.admitHost(*hostId, *hostKey, name);
  }
  if (admitted == Accounts::Host::refused) {
    ports_.log(
        {LogLevel::warning, "host-refused", {connectionField(id), {"address", from.address}}});
    return tell(id, {{"type", "auth-failed"}});
  }
  from.hostId = *hostId;
  // A window left open over a restart of the server shows a PIN that nobody knows any more; with
  // this the host asks for another as soon as it reads "registered".
  if (admitted == Accounts::Host::known && !pins_.hasLiveCode(*hostId)) {
    tell(id, {{"type", "pairing-pin"}});
  }
  rooms_.hostArrives(*hostId, id, iceServers());
}

void Switchboard::startPairing(const Connection& from) {
  const auto code = pins_.issue(from.hostId);
  if (!code) {
    ports_.log({LogLevel::error, "pin-failed", {hostField(from.hostId)}});
    return rooms_.tellHost(from.hostId, {{"type", "pairing-pin"}});
  }
  ports_.log({LogLevel::info, "pairing-started", {hostField(from.hostId)}});
  if (ports_.pinIssued) ports_.pinIssued(code->pin);
  rooms_.tellHost(from.hostId,
                  {{"type", "pairing-pin"}, {"pin", code->pin}, {"pairToken", code->token}});
}

}  // namespace tovalin::server
