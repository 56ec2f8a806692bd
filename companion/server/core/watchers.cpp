#include "companion/server/core/watchers.h"

#include <utility>

#include "companion/server/core/message_frame.h"

namespace tovalin::server {
namespace {

Json hostState(const std::string& hostId, Presence presence) {
  return {{"hostId", hostId}, {"state", presenceText(presence)}};
}

std::string presenceMessage(Json hosts) {
  return Json{{"type", "presence"}, {"hosts", std::move(hosts)}}.dump();
}

}  // namespace

void Watchers::watch(ConnectionId viewer, const std::vector<WatchedDevice>& devices,
                     const std::set<std::string>& strangers) {
  forgetViewer(viewer);
  Json hosts = Json::array();
  for (const auto& device : devices) {
    const Presence presence = look_(device);
    byHost_[device.hostId].insert_or_assign(viewer, Watch{device.deviceId, presence});
    hostsOf_[viewer].insert(device.hostId);
    hosts.push_back(hostState(device.hostId, presence));
  }
  for (const auto& hostId : strangers) {
    hosts.push_back(hostState(hostId, Presence::unknownDevice));
  }
  if (!hosts.empty()) outbox_.send(viewer, presenceMessage(std::move(hosts)));
}

void Watchers::forgetViewer(ConnectionId viewer) {
  const auto watched = hostsOf_.extract(viewer);
  if (!watched) return;
  for (const auto& hostId : watched.mapped()) stop(viewer, hostId);
}

void Watchers::hostChanged(const std::string& hostId) {
  const auto found = byHost_.find(hostId);
  if (found == byHost_.end()) return;
  for (auto& [viewer, watch] : found->second) {
    const Presence presence = look_({hostId, watch.deviceId});
    if (std::exchange(watch.told, presence) == presence) continue;
    outbox_.send(viewer, presenceMessage(Json::array({hostState(hostId, presence)})));
  }
}

void Watchers::deviceGone(const WatchedDevice& device) {
  const auto found = byHost_.find(device.hostId);
  if (found == byHost_.end()) return;
  std::vector<ConnectionId> viewers;
  for (const auto& [viewer, watch] : found->second) {
    if (watch.deviceId == device.deviceId) viewers.push_back(viewer);
  }
  for (const ConnectionId viewer : viewers) {
    stop(viewer, device.hostId);
    hostsOf_[viewer].erase(device.hostId);
    outbox_.send(viewer,
                 presenceMessage(Json::array({hostState(device.hostId, Presence::unknownDevice)})));
  }
}

void Watchers::stop(ConnectionId viewer, const std::string& hostId) {
  const auto found = byHost_.find(hostId);
  found->second.erase(viewer);
  if (found->second.empty()) byHost_.erase(found);
}

}  // namespace tovalin::server
