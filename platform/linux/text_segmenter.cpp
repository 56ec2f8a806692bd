#include "platform/linux/text_segmenter.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace tovalin {
namespace {

std::u16string piece(const icu::UnicodeString& text, int32_t begin, int32_t end) {
  return {text.getBuffer() + begin, text.getBuffer() + end};
}

class IcuTextSegmenter : public TextSegmenter {
 public:
  std::vector<std::u16string> graphemeClusters(std::string_view utf8) const override {
    const auto text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
    // Made for the call: an iterator holds its text, so threads cannot share one.
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_SUCCESS(status)) iterator->setText(text);

    std::vector<std::u16string> clusters;
    for (int32_t begin = 0; begin < text.length();) {
      const int32_t end = U_SUCCESS(status) ? iterator->next() : text.moveIndex32(begin, 1);
      clusters.push_back(piece(text, begin, end));
      begin = end;
    }
    return clusters;
  }
};

}  // namespace

std::unique_ptr<TextSegmenter> makeTextSegmenter() {
  return std::make_unique<IcuTextSegmenter>();
}

}  // namespace tovalin
