#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "companion/server/core/outbox.h"
#include "companion/server/core/presence.h"

namespace tovalin::server {

// A pairing, as far as presence goes: whose eyes see which host.
struct WatchedDevice {
  std::string hostId;
  std::string deviceId;
};

// Which viewers want to know how their hosts are, and what each was told last. Server thread.
class Watchers {
 public:
  using Look = std::function<Presence(const WatchedDevice&)>;

  // `look` says how a host is for a device that is paired with it.
  Watchers(Outbox& outbox, Look look) : outbox_(outbox), look_(std::move(look)) {}

  // Tells the viewer how all of `devices` are, and from now on how they change; replaces what it
  // watched before. `strangers` are hosts it names without being paired: told so, and not watched.
  // No host twice.
  void watch(ConnectionId viewer, const std::vector<WatchedDevice>& devices,
             const std::set<std::string>& strangers);

  // The viewer watches nothing any more.
  void forgetViewer(ConnectionId viewer);

  // The host came, went, or got or lost a visitor.
  void hostChanged(const std::string& hostId);

  // The device is no longer paired with the host.
  void deviceGone(const WatchedDevice& device);

 private:
  struct Watch {
    std::string deviceId;
    Presence told;
  };

  void stop(ConnectionId viewer, const std::string& hostId);

  Outbox& outbox_;
  const Look look_;
  std::map<std::string, std::unordered_map<ConnectionId, Watch>> byHost_;
  std::unordered_map<ConnectionId, std::set<std::string>> hostsOf_;  // every watch in byHost_
};

}  // namespace tovalin::server
