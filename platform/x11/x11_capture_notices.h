#pragma once

#include <mutex>
#include <set>
#include <string_view>

#include "platform/system_log.h"

namespace tovalin {

// What the screen capture has to say about the server once and not at every start. Any thread.
class CaptureNotices {
 public:
  // `log` must outlive this.
  explicit CaptureNotices(SystemLog& log) : log_(log) {}

  // `line` must be a literal: it is kept by reference.
  void once(std::string_view line) {
    {
      std::lock_guard lock(mutex_);
      if (!said_.insert(line).second) return;
    }
    log_.line(line);
  }

 private:
  SystemLog& log_;
  std::mutex mutex_;
  std::set<std::string_view> said_;
};

}  // namespace tovalin
