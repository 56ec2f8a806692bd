#include "companion/server/core/log.h"

#include <algorithm>
#include <array>

namespace tovalin::server {
namespace {

constexpr std::array<std::string_view, 4> kLevels = {"debug", "info", "warning", "error"};

bool isPlain(char c) {
  return c > ' ' && c != '"' && c != '=' && c != '\\' && c != 0x7f;
}

std::string quoted(const std::string& value) {
  const auto isPlainOrBeyondAscii = [](char c) { return isPlain(c) || c < 0; };
  if (!value.empty() && std::ranges::all_of(value, isPlainOrBeyondAscii)) return value;
  std::string text = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') text += '\\';
    const bool isControl = (c >= 0 && c < ' ') || c == 0x7f;
    text += isControl ? '?' : c;
  }
  return text + '"';
}

}  // namespace

std::string logText(const LogEvent& event) {
  std::string text = "level=" + std::string(kLevels[static_cast<std::size_t>(event.level)]) +
                     " event=" + std::string(event.name);
  for (const auto& [key, value] : event.fields) {
    text += ' ' + std::string(key) + '=' + quoted(value);
  }
  return text;
}

std::optional<LogLevel> logLevelOf(std::string_view name) {
  const auto found = std::ranges::find(kLevels, name);
  if (found == kLevels.end()) return std::nullopt;
  return static_cast<LogLevel>(found - kLevels.begin());
}

}  // namespace tovalin::server
