#include "platform/linux/find_program.h"

#include <unistd.h>

#include <system_error>

#include "platform/linux/lines.h"

namespace tovalin {
namespace {

bool isProgram(const std::filesystem::path& file) {
  std::error_code failure;
  return std::filesystem::is_regular_file(file, failure) && access(file.c_str(), X_OK) == 0;
}

}  // namespace

std::optional<std::filesystem::path> findProgram(std::string_view name,
                                                 std::string_view searchPath) {
  if (name.empty()) return std::nullopt;
  if (name.find('/') != std::string_view::npos) {
    std::filesystem::path file(name);
    return isProgram(file) ? std::optional(std::move(file)) : std::nullopt;
  }
  for (const std::filesystem::path directory : partsOf(searchPath, ':')) {
    auto file = directory / name;
    if (directory.is_absolute() && isProgram(file)) return file;
  }
  return std::nullopt;
}

}  // namespace tovalin
