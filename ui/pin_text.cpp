#include "ui/pin_text.h"

#include <array>

namespace tovalin {
namespace {

constexpr const char* kSeparator = "  ";

void appendUtf8(std::string& utf8, char32_t c) {
  if (c < 0x80) {
    utf8 += static_cast<char>(c);
    return;
  }
  const int trailing = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  static constexpr std::array<unsigned, 4> kLead = {0, 0xC0, 0xE0, 0xF0};
  utf8 += static_cast<char>(kLead[static_cast<size_t>(trailing)] | (c >> (6 * trailing)));
  for (int i = trailing - 1; i >= 0; --i) {
    utf8 += static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
  }
}

// The segmenter's clusters are well formed: a high surrogate has its low one behind it.
void appendUtf8(std::string& utf8, std::u16string_view cluster) {
  for (size_t i = 0; i < cluster.size(); ++i) {
    char32_t c = cluster[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < cluster.size()) {
      c = 0x10000 + ((c - 0xD800) << 10) + (cluster[++i] - 0xDC00U);
    }
    appendUtf8(utf8, c);
  }
}

}  // namespace

std::string pinText(const TextSegmenter& segmenter, std::string_view pin) {
  std::string text;
  for (const auto& cluster : segmenter.graphemeClusters(pin)) {
    if (!text.empty()) text += kSeparator;
    appendUtf8(text, cluster);
  }
  return text;
}

}  // namespace tovalin
