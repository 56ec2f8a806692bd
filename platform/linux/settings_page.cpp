#include "platform/linux/settings_page.h"

#include <system_error>

#include "platform/linux/detached_process.h"
#include "platform/linux/environment.h"
#include "platform/linux/find_program.h"
#include "platform/linux/lines.h"
#include "platform/linux/xdg_paths.h"

namespace tovalin {
namespace {

struct Page {
  const char* listedAs;  // under applications/, since the pages have changed names over the years
  const char* argument;
};

struct SettingsProgram {
  const char* desktop;
  const char* name;
  std::vector<Page> pages;  // the most fitting first; without any the program opens as it likes
};

const std::vector<SettingsProgram>& settingsPrograms() {
  static const std::vector<SettingsProgram> programs = {
      {"GNOME",
       "gnome-control-center",
       {{"gnome-privacy-panel.desktop", "privacy"},
        // GNOME 43 in Debian 12 has no privacy panel but several under a heading of that name.
        {"gnome-screen-panel.desktop", "screen"},
        {"gnome-lock-panel.desktop", "lock"}}},
      {"KDE", "systemsettings", {{"kcm_app-permissions.desktop", "kcm_app-permissions"}}},
      {"KDE", "systemsettings5", {}},
  };
  return programs;
}

bool isListed(const char* name, const std::vector<std::filesystem::path>& dataDirectories) {
  for (const auto& directory : dataDirectories) {
    std::error_code failure;
    if (std::filesystem::exists(directory / "applications" / name, failure)) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> privacySettingsCommand(const DesktopPrograms& programs) {
  for (const auto& desktop : partsOf(programs.currentDesktop, ':')) {
    for (const auto& settings : settingsPrograms()) {
      if (desktop != settings.desktop) continue;
      const auto file = findProgram(settings.name, programs.searchPath);
      if (!file) continue;
      for (const auto& page : settings.pages) {
        if (isListed(page.listedAs, programs.dataDirectories)) return {*file, page.argument};
      }
      return {*file};
    }
  }
  return {};
}

void openPrivacySettings() {
  launchDetached(privacySettingsCommand(
      {environmentValue("XDG_CURRENT_DESKTOP"), environmentValue("PATH"), dataDirectories()}));
}

}  // namespace tovalin
