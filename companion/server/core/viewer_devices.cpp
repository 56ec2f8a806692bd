// The switchboard's part that serves a viewer's list of hosts: how they are, and giving one up.

#include <set>
#include <vector>

#include "companion/server/core/switchboard.h"

namespace tovalin::server {

std::optional<WatchedDevice> Switchboard::pairedDevice(const Json& credentials) {
  const auto hostId = stringField(credentials, "hostId");
  const auto deviceId = stringField(credentials, "deviceId");
  const auto deviceKey = stringField(credentials, "deviceKey");
  const bool isPaired =
      hostId && deviceId && deviceKey && accounts_.knowsDevice(*hostId, *deviceId, *deviceKey);
  return isPaired ? std::optional(WatchedDevice{*hostId, *deviceId}) : std::nullopt;
}

void Switchboard::watch(ConnectionId id, Connection& from, const Json& message) {
  const auto list = message.find("devices");
  if (list == message.end() || !list->is_array()) return;
  from.useful = true;
  std::vector<WatchedDevice> devices;
  std::set<std::string> strangers;
  std::set<std::string> named;
  for (const auto& entry : *list) {
    if (named.size() == limits_.watchedHosts) break;
    const auto hostId = entry.is_object() ? stringField(entry, "hostId") : std::nullopt;
    if (!hostId || !named.insert(*hostId).second) continue;
    if (auto device = pairedDevice(entry)) {
      devices.push_back(*std::move(device));
    } else {
      strangers.insert(*hostId);
    }
  }
  watchers_.watch(id, devices, strangers);
}

void Switchboard::forget(ConnectionId id, Connection& from, const Json& message) {
  const auto hostId = stringField(message, "hostId");
  if (!hostId) return;
  from.useful = true;
  const auto device = pairedDevice(message);
  if (device) accounts_.removeDevice(device->deviceId);
  tell(id, {{"type", "forgotten"}, {"hostId", *hostId}});
  if (!device) return;
  ports_.log({LogLevel::info,
              "forgotten",
              {hostField(*hostId), deviceField(device->deviceId), connectionField(id)}});
  rooms_.deviceForgotten(device->hostId, device->deviceId);
  watchers_.deviceGone(*device);
}

}  // namespace tovalin::server
