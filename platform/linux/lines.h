#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace tovalin {

// `text` without the blanks around it, the carriage return of a foreign editor included.
inline std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Takes the first line off `rest`, which must not be empty, and returns it without its newline.
inline std::string_view takeLine(std::string_view& rest) {
  const size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

// The parts of `text` between the separators; empty ones are left out.
inline std::vector<std::string> partsOf(std::string_view text, char separator) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const size_t end = std::min(text.find(separator), text.size());
    if (end > 0) parts.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

}  // namespace tovalin
