#pragma once

#include <string_view>

namespace tovalin {

// The system log. There are no levels; nothing secret is ever passed.
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  // Writes one line, which begins with "[Tovalin] ". Never fails visibly. Any thread.
  virtual void line(std::string_view text) = 0;
};

}  // namespace tovalin
