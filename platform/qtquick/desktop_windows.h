#pragma once

#include <memory>

#include "platform/appearance.h"
#include "platform/system_log.h"
#include "platform/tray_icon.h"
#include "platform/windows.h"

namespace tovalin {

// The windows of a graphical desktop, light or dark as `appearance` says, with an icon in `trays`.
// Needs the application object, with windows. What is passed outlives them.
std::unique_ptr<Windows> makeDesktopWindows(TrayIcons& trays, Appearance& appearance,
                                            SystemLog& log);

}  // namespace tovalin
