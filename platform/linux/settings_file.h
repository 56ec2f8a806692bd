#pragma once

#include <filesystem>
#include <memory>

#include "platform/system_log.h"
#include "platform/user_defaults.h"

namespace tovalin {

// The user's settings file, com.tovalin.host/settings.ini under configHome(). Main thread.
std::filesystem::path settingsFilePath();

// Settings kept in `file`, which is read once, here. A damaged file is set aside as
// "<file>.corrupt", in place of an older one, and the defaults apply. A write merges its key into
// what the file holds by then, so that lines which the user edits meanwhile stay; what a failed
// write could not save goes out with the next that succeeds. Each trouble is one line in `log`,
// which must outlive the result. Main thread.
std::unique_ptr<UserDefaults> makeSettingsFile(std::filesystem::path file, SystemLog& log);

}  // namespace tovalin
