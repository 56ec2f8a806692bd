#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tovalin::server {

// `text` (valid UTF-8) fit for a log line, a menu or a title: without control characters, line
// separators and marks that turn the writing direction around, without spaces at its ends, and no
// longer than `length` code points.
std::string cleanText(std::string_view text, std::size_t length);

}  // namespace tovalin::server
