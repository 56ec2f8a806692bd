#pragma once

#include <filesystem>
#include <memory>

#include "platform/login_item.h"

namespace tovalin {

// The desktop's autostart entry of this program, under configHome(). Main thread.
std::filesystem::path autostartEntryPath();

// The login item as the XDG autostart file `entry`, which starts `program`, an absolute path. An
// entry that a desktop's settings have switched off (Hidden or X-GNOME-Autostart-enabled) is not
// enabled; registering writes it anew. Main thread.
std::unique_ptr<LoginItem> makeAutostartLoginItem(std::filesystem::path entry,
                                                  std::filesystem::path program);

}  // namespace tovalin
