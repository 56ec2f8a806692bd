#pragma once

#include <functional>
#include <memory>

#include "platform/qtquick/desktop_style.h"
#include "platform/windows.h"

namespace tovalin {

// The pill at the top of the main screen. A window that no window manager manages: above
// full-screen windows, on every workspace, never with the focus. Painted by hand rather than in
// QML, whose engine would cost a visit some 20 MB. Main thread.
std::unique_ptr<IndicatorPanel> makeIndicatorWindow(DesktopStyle& style,
                                                    const IndicatorContent& content,
                                                    std::function<void()> disconnect);

}  // namespace tovalin
