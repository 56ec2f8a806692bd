#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovalin {

// Unicode text segmentation. Any thread.
class TextSegmenter {
 public:
  virtual ~TextSegmenter() = default;

  // The extended grapheme clusters of a UTF-8 text, in order, each as UTF-16 code units.
  // Ill-formed bytes become U+FFFD.
  virtual std::vector<std::u16string> graphemeClusters(std::string_view utf8) const = 0;
};

}  // namespace tovalin
