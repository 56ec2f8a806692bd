#pragma once

#include <memory>

#include "platform/system_log.h"
#include "platform/tray_icon.h"
#include "platform/windows.h"

namespace tovalin {

// The windows of a graphical desktop, its tray icon among `trays`. Needs the application object,
// with windows. What is passed outlives them.
std::unique_ptr<Windows> makeDesktopWindows(TrayIcons& trays, SystemLog& log);

}  // namespace tovalin
