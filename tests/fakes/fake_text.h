#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"

namespace tovalin::fake {

// Segments the clusters that tests use: combining marks U+0300 to U+036F, variation selectors,
// skin tones and zero-width joiners stay with what they follow, a joiner also takes what comes
// after it, and regional indicators pair up. Ill-formed bytes become U+FFFD, one for each.
class FakeTextSegmenter : public TextSegmenter {
 public:
  std::vector<std::u16string> graphemeClusters(std::string_view utf8) const override {
    std::vector<std::u16string> clusters;
    char32_t previous = 0;
    bool flagIsOpen = false;
    for (const char32_t c : decode(utf8)) {
      const bool closesFlag = flagIsOpen && isRegionalIndicator(c);
      const bool continues = extends(c) || previous == kJoiner || closesFlag;
      if (clusters.empty() || !continues) clusters.emplace_back();
      append(clusters.back(), c);
      flagIsOpen = isRegionalIndicator(c) && !closesFlag;
      previous = c;
    }
    return clusters;
  }

 private:
  static constexpr char32_t kJoiner = 0x200D;
  static constexpr char32_t kReplacement = 0xFFFD;

  static bool extends(char32_t c) {
    const bool mark = c >= 0x0300 && c <= 0x036F;
    const bool variation = c >= 0xFE00 && c <= 0xFE0F;
    const bool skinTone = c >= 0x1F3FB && c <= 0x1F3FF;
    return mark || variation || skinTone || c == kJoiner;
  }

  static bool isRegionalIndicator(char32_t c) { return c >= 0x1F1E6 && c <= 0x1F1FF; }

  static void append(std::u16string& units, char32_t c) {
    if (c < 0x10000) {
      units += static_cast<char16_t>(c);
    } else {
      units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
  }

  static std::u32string decode(std::string_view utf8) {
    std::u32string decoded;
    while (!utf8.empty()) {
      size_t length = 1;
      decoded += decodeOne(utf8, length);
      utf8.remove_prefix(length);
    }
    return decoded;
  }

  // `length`: how many bytes were used; 1 for an ill-formed one.
  static char32_t decodeOne(std::string_view utf8, size_t& length) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(utf8[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return lead;
    const size_t wanted = lead >= 0xF0 && lead < 0xF8 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead >= 0xF8 || utf8.size() < wanted) return kReplacement;
    char32_t c = lead & (0x7Fu >> wanted);
    for (size_t i = 1; i < wanted; ++i) {
      if ((byte(i) & 0xC0) != 0x80) return kReplacement;
      c = (c << 6) | (byte(i) & 0x3F);
    }
    static constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
    if (c < kLeast[wanted] || c > 0x10FFFF || surrogate) return kReplacement;
    length = wanted;
    return c;
  }
};

}  // namespace tovalin::fake
