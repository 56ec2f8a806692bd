#pragma once

#include <memory>

#include "platform/appearance.h"
#include "platform/dbus/bus.h"

namespace tovalin {

// The color scheme as the desktop portal's settings tell it. The portal is started when it is
// installed but not running. No preference counts as light. The bus and the log outlive it.
std::unique_ptr<Appearance> makePortalAppearance(Bus& sessionBus, SystemLog& log);

}  // namespace tovalin
