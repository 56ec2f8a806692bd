#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace tovalin {

// A PIN as it is shown: its characters with two spaces between neighbours, so that the eye takes
// them one by one.
std::string pinText(const TextSegmenter& segmenter, std::string_view pin);

}  // namespace tovalin
