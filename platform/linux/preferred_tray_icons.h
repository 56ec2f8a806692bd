#pragma once

#include <memory>

#include "platform/tray_icon.h"

namespace tovalin {

// Shows each icon in the tray that `preferred` leads to and, while there is none, in that of
// `otherwise`: never in both. `otherwise` is left alone until `preferred` has said that it shows
// nothing. Main thread.
std::unique_ptr<TrayIcons> makePreferredTrayIcons(std::unique_ptr<TrayIcons> preferred,
                                                  std::unique_ptr<TrayIcons> otherwise);

}  // namespace tovalin
