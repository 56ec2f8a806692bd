#include "platform/webrtc/network_interfaces.h"

#include <net/if.h>
#include <netinet/in.h>

#include <memory>

namespace tovalin {
namespace {

bool isRoutable(const sockaddr* address) {
  if (address == nullptr) return false;
  if (address->sa_family == AF_INET) return true;
  if (address->sa_family != AF_INET6) return false;
  const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
  return !IN6_IS_ADDR_LINKLOCAL(&v6->sin6_addr);
}

}  // namespace

bool reachesBeyondThisMachine(const ifaddrs* list) {
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    const bool up = (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_RUNNING) != 0;
    const bool loopback = (entry->ifa_flags & IFF_LOOPBACK) != 0;
    if (up && !loopback && isRoutable(entry->ifa_addr)) return true;
  }
  return false;
}

bool thisMachineHasNetwork() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return true;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
  return reachesBeyondThisMachine(list);
}

}  // namespace tovalin
