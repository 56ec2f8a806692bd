#pragma once

#include <vector>

#include "platform/windows.h"
#include "ui/host_facade.h"

namespace tovalin {

// The rows "Screen Recording" and "Accessibility", in this order, as the host's state has them.
std::vector<PermissionRow> permissionRows(const HostFacade& host);

// Asks the host for `permission`.
void requestPermission(HostFacade& host, Permission permission);

}  // namespace tovalin
