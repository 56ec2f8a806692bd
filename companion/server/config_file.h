#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tovalin::server {

// One "key = value" line of a configuration file.
struct ConfigLine {
  std::string key;
  std::string value;
  int number = 0;  // from 1
};

// The lines of a configuration text that are neither empty nor comments (first sign "#"), spaces
// around keys and values removed; or the number of the first line that has no "=".
std::variant<std::vector<ConfigLine>, int> parseConfig(std::string_view text);

// What a small text file holds; nothing when it cannot be read.
std::optional<std::string> readTextFile(const std::filesystem::path& file);

// `text` without spaces, tabs and line ends around it.
std::string_view trimmed(std::string_view text);

}  // namespace tovalin::server
