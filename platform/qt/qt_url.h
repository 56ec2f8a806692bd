#pragma once

#include <memory>

#include "platform/url.h"

namespace tovalin {

// URLs as RFC 3986 writes them: an address with letters beyond ASCII must come percent-encoded, a
// host so named in its xn-- form. The text itself is the result's absolute string. Any thread.
std::unique_ptr<UrlParser> makeQtUrlParser();

}  // namespace tovalin
