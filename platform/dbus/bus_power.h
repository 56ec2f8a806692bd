#pragma once

#include <memory>

#include "platform/dbus/bus.h"
#include "platform/power.h"

namespace tovalin {

// The share of the desktop's services in power management. An assertion is taken at every service
// that knows its kind, at each on its own, also at one that appears later:
//   against idle sleep: logind, and the session manager;
//   for the display: the screen savers, and the session manager.
// Each service gives up what this process holds when the process ends in any way. Activity is
// passed on to the screen savers that are running.
//
// The buses, the queue and the log outlive it.
std::unique_ptr<Power> makeBusPower(Bus& sessionBus, Bus& systemBus, MainQueue& queue,
                                    SystemLog& log);

}  // namespace tovalin
