#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/login_item.h"

namespace tovalin {

// Where a desktop looks for this program's autostart entry, and by what it judges it.
struct AutostartPlaces {
  std::filesystem::path entry;  // the user's own, which stands in for all others
  std::vector<std::filesystem::path> systemEntries = {};  // the most important first
  std::string currentDesktop = {};                        // as in XDG_CURRENT_DESKTOP
  std::string searchPath = {};                            // as in PATH
};

// The places of this session, by the environment. Main thread.
AutostartPlaces autostartPlaces();

// The login item as an XDG autostart entry that starts `program`, an absolute path. It is what the
// desktop's own settings show: an entry that they have switched off, that is meant for other
// desktops, or whose TryExec is missing, is not enabled; without an entry of the user's the
// system's counts.
//
// Registering changes an existing entry only as far as needed for it to start the program in this
// desktop; what the user or the desktop have added stays. Unregistering removes the entry, but
// switches it off where something of theirs would be lost with it, or where the system's entry
// would come into force in its place. Main thread.
std::unique_ptr<LoginItem> makeAutostartLoginItem(AutostartPlaces places,
                                                  std::filesystem::path program);

}  // namespace tovalin
