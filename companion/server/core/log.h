#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tovalin::server {

// Takes one event as one line of text, without a line end. Nothing secret is ever passed.
using Log = std::function<void(std::string_view)>;

// As much of an id as tells two apart in a log.
inline std::string shortId(std::string_view id) {
  return std::string(id.substr(0, 8));
}

}  // namespace tovalin::server
