#pragma once

#include <memory>

#include "platform/text.h"

namespace tovalin {

// Text segmentation by ICU's character boundaries in the root locale. Where ICU's data cannot be
// loaded every code point is a cluster of its own.
std::unique_ptr<TextSegmenter> makeTextSegmenter();

}  // namespace tovalin
