#pragma once

#include <memory>

#include "platform/system_log.h"
#include "platform/windows.h"

namespace tovalin {

// The windows of a graphical desktop. Needs the application object, with windows.
std::unique_ptr<Windows> makeDesktopWindows(SystemLog& log);

}  // namespace tovalin
