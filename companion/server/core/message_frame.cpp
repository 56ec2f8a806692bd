#include "companion/server/core/message_frame.h"

namespace tovalin::server {
namespace {

// Counted before parsing, so that a hostile frame never becomes a deep tree. Wrong on text that is
// not JSON, which the parser refuses anyway.
bool nestsDeeperThan(std::string_view text, std::size_t limit) {
  std::size_t depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      if (++depth > limit) return true;
    } else if ((c == '}' || c == ']') && depth > 0) {
      --depth;
    }
  }
  return false;
}

}  // namespace

std::optional<Json> parseObject(std::string_view text, std::size_t depth) {
  if (nestsDeeperThan(text, depth)) return std::nullopt;
  Json parsed = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object()) return std::nullopt;
  return parsed;
}

std::optional<std::string> stringField(const Json& message, const char* key) {
  const auto found = message.find(key);
  if (found == message.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

}  // namespace tovalin::server
