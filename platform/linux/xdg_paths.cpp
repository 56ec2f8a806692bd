#include "platform/linux/xdg_paths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "platform/linux/bundle.h"
#include "platform/linux/lines.h"

namespace tovalin {
namespace {

// The directory that a variable names; empty when it is unset or relative.
std::filesystem::path absoluteFrom(const char* variable) {
  const char* value = std::getenv(variable);
  if (value == nullptr) return {};
  std::filesystem::path path(value);
  return path.is_absolute() ? path : std::filesystem::path();
}

// The absolute directories that a variable lists; `otherwise` when it names none.
std::vector<std::filesystem::path> absolutesFrom(const char* variable, const char* otherwise) {
  const auto absolutes = [](const char* list) {
    std::vector<std::filesystem::path> paths;
    for (const auto& part : partsOf(list == nullptr ? "" : list, ':')) {
      if (std::filesystem::path path(part); path.is_absolute()) paths.push_back(std::move(path));
    }
    return paths;
  };
  auto paths = absolutes(std::getenv(variable));
  return paths.empty() ? absolutes(otherwise) : paths;
}

std::filesystem::path home() {
  if (auto path = absoluteFrom("HOME"); !path.empty()) return path;
  const passwd* user = getpwuid(getuid());
  return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

}  // namespace

std::filesystem::path configHome() {
  auto path = absoluteFrom("XDG_CONFIG_HOME");
  return path.empty() ? home() / ".config" : path;
}

std::vector<std::filesystem::path> configDirectories() {
  return absolutesFrom("XDG_CONFIG_DIRS", "/etc/xdg");
}

std::vector<std::filesystem::path> dataDirectories() {
  auto directories = absolutesFrom("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
  const auto own = absoluteFrom("XDG_DATA_HOME");
  directories.insert(directories.begin(), own.empty() ? home() / ".local/share" : own);
  return directories;
}

std::filesystem::path runtimeHome() {
  if (auto path = absoluteFrom("XDG_RUNTIME_DIR"); !path.empty()) return path;
  return "/tmp/" + std::string(kBundleIdentifier) + "-" + std::to_string(getuid());
}

std::filesystem::path ownExecutable() {
  std::error_code failure;
  return std::filesystem::read_symlink("/proc/self/exe", failure);
}

}  // namespace tovalin
