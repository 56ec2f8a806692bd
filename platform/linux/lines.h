#pragma once

#include <algorithm>
#include <string_view>

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

}  // namespace tovalin
