#include "companion/server/core/clean_text.h"

#include <cstdint>

namespace tovalin::server {
namespace {

bool isContinuation(char c) {
  return (static_cast<uint8_t>(c) & 0xC0) == 0x80;
}

// One code point's value from its own, already validated, UTF-8 bytes.
uint32_t decode(std::string_view bytes) {
  const auto lead = static_cast<uint8_t>(bytes[0]);
  if (bytes.size() == 1) return lead;
  uint32_t value = lead & (0x7Fu >> bytes.size());
  for (const char c : bytes.substr(1)) value = (value << 6) | (static_cast<uint8_t>(c) & 0x3Fu);
  return value;
}

bool isUnwanted(uint32_t point) {
  if (point < 0x20 || (point >= 0x7F && point < 0xA0)) return true;  // C0, delete, C1
  if (point >= 0x200E && point <= 0x200F) return true;               // direction marks
  if (point >= 0x2028 && point <= 0x202E) return true;  // separators, embeddings, overrides
  return point >= 0x2066 && point <= 0x2069;            // isolates
}

}  // namespace

std::string cleanText(std::string_view text, std::size_t length) {
  std::string clean;
  std::size_t points = 0;
  for (std::size_t i = 0; i < text.size() && points < length;) {
    std::size_t end = i + 1;
    while (end < text.size() && isContinuation(text[end])) ++end;
    const std::string_view bytes = text.substr(i, end - i);
    i = end;
    if (isUnwanted(decode(bytes)) || (clean.empty() && bytes == " ")) continue;
    clean += bytes;
    ++points;
  }
  while (!clean.empty() && clean.back() == ' ') clean.pop_back();
  return clean;
}

}  // namespace tovalin::server
