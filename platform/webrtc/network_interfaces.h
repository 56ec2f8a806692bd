#pragma once

#include <ifaddrs.h>

#include "platform/webrtc/require_checks.h"

namespace tovalin {

// Whether the list (see getifaddrs(3)) names an address that reaches beyond this machine: one of
// an interface that is up and not the loopback. IPv6 link-local addresses do not count.
bool reachesBeyondThisMachine(const ifaddrs* list);

// The same for this machine as it is now; true when its interfaces cannot be listed. Any thread.
bool thisMachineHasNetwork();

}  // namespace tovalin
