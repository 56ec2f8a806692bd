#pragma once

#include <memory>
#include <string>

#include "platform/power.h"

namespace tovalin {

// The X server's share in power management: its screen saver and its monitors' DPMS. A display
// assertion suspends the timers of both for as long as this process's connection lives; idle sleep
// is not the X server's, so no assertion of that type is offered. Activity ends the screen saver
// and switches the monitors on. `displayName` as in the DISPLAY variable; empty means that
// variable.
std::unique_ptr<Power> makeX11Power(std::string displayName = {});

}  // namespace tovalin
