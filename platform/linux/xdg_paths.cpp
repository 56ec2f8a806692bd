#include "platform/linux/xdg_paths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <system_error>

#include "platform/linux/bundle.h"

namespace tovalin {
namespace {

// The directory that a variable names; empty when it is unset or relative.
std::filesystem::path absoluteFrom(const char* variable) {
  const char* value = std::getenv(variable);
  if (value == nullptr) return {};
  std::filesystem::path path(value);
  return path.is_absolute() ? path : std::filesystem::path();
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

std::filesystem::path runtimeHome() {
  if (auto path = absoluteFrom("XDG_RUNTIME_DIR"); !path.empty()) return path;
  return "/tmp/" + std::string(kBundleIdentifier) + "-" + std::to_string(getuid());
}

std::filesystem::path ownExecutable() {
  std::error_code failure;
  return std::filesystem::read_symlink("/proc/self/exe", failure);
}

}  // namespace tovalin
