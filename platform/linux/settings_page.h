#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tovalin {

// What a desktop's settings program is found by.
struct DesktopPrograms {
  std::string currentDesktop;                          // as in XDG_CURRENT_DESKTOP
  std::string searchPath;                              // as in PATH
  std::vector<std::filesystem::path> dataDirectories;  // where applications/ lists what there is
};

// The command that opens the desktop's own page on what programs may see, or the page next to it
// where the desktop asks nothing of the kind; the program by its path, then its arguments. Empty
// where there is no such page. Any thread.
std::vector<std::string> privacySettingsCommand(const DesktopPrograms& programs);

// Opens that page of this session's desktop, where it has one. Returns at once. Main thread.
void openPrivacySettings();

}  // namespace tovalin
