#pragma once

#include <memory>
#include <string>

#include "platform/screen_capture.h"
#include "platform/system_log.h"

namespace tovalin {

// Screen capture of an X11 desktop. Making it neither connects nor blocks; without an X server
// there are no displays until one appears. Destroying it ends its streams and waits for their
// threads. `log` must outlive it; `displayName` is as in the DISPLAY variable, empty for that
// variable.
std::unique_ptr<ScreenCapture> makeX11ScreenCapture(SystemLog& log, std::string displayName = {});

}  // namespace tovalin
