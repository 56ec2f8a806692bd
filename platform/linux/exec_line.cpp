#include "platform/linux/exec_line.h"

#include "platform/linux/desktop_entry.h"

namespace tovalin {

// Two rules of the desktop entry format apply one after the other: quoting for the command line,
// then the escapes of any string value, so that a backslash in a path stands as four.
std::string execArgument(std::string_view argument) {
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return escapedValue(quoted + "\"");
}

std::vector<std::string> execArguments(std::string_view value) {
  std::vector<std::string> arguments;
  bool inArgument = false;
  bool quoted = false;
  for (size_t i = 0; i < value.size(); ++i) {
    if (!quoted && (value[i] == ' ' || value[i] == '\t' || value[i] == '\n')) {
      inArgument = false;
      continue;
    }
    if (!inArgument) arguments.emplace_back();
    inArgument = true;
    const bool hasNext = i + 1 < value.size();
    if (value[i] == '"') {
      quoted = !quoted;
    } else if (value[i] == '\\' && hasNext) {
      arguments.back() += value[++i];
    } else if (value[i] == '%' && hasNext && value[i + 1] == '%') {
      arguments.back() += value[++i];
    } else {
      arguments.back() += value[i];
    }
  }
  return arguments;
}

}  // namespace tovalin
