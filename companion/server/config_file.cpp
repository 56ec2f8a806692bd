#include "companion/server/config_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

namespace tovalin::server {

std::variant<std::vector<ConfigLine>, int> parseConfig(std::string_view text) {
  std::vector<ConfigLine> lines;
  for (int number = 1; !text.empty(); ++number) {
    const auto end = std::min(text.find('\n'), text.size());
    const std::string_view line = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty() || line.starts_with('#')) continue;
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) return number;
    lines.push_back({std::string(trimmed(line.substr(0, equals))),
                     std::string(trimmed(line.substr(equals + 1))), number});
  }
  return lines;
}

std::optional<std::string> readTextFile(const std::filesystem::path& file) {
  std::error_code error;
  if (std::filesystem::is_directory(file, error)) return std::nullopt;  // reading one throws
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  return stream && !stream.bad() ? std::optional(std::move(text)) : std::nullopt;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

}  // namespace tovalin::server
