#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tovalin {

// Bytes of the well-formed UTF-8 sequence with which `text` begins; 0 when it begins with none
// (over-long forms, surrogates and values beyond U+10FFFF are ill-formed). Any thread.
inline size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const auto lead = static_cast<uint8_t>(text[0]);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (text.size() < length) return 0;
  const auto second = static_cast<uint8_t>(text[1]);
  const uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (second < lowest || second > highest) return 0;
  for (size_t i = 2; i < length; ++i) {
    if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80) return 0;
  }
  return length;
}

// Whether all of `text` is well-formed. Any thread.
inline bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = utf8SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

// A byte as it is shown where it must not stand as itself: \x0a for a newline.
inline std::string escapedByte(char byte) {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  const auto value = static_cast<uint8_t>(byte);
  return {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
}

}  // namespace tovalin
