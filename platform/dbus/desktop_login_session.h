#pragma once

#include <memory>

#include "platform/dbus/bus.h"
#include "platform/login_session.h"

namespace tovalin {

// The login session as the desktop's services tell of it: logind, and whatever screen saver
// services there are. The screen is locked when any of them says so. `withoutServices` is asked
// while none of them answers. Nothing here waits: answers are the last that were told.
//
// The buses, the log and `withoutServices` outlive it.
std::unique_ptr<LoginSession> makeDesktopLoginSession(Bus& sessionBus, Bus& systemBus,
                                                      SystemLog& log,
                                                      LoginSession& withoutServices);

}  // namespace tovalin
