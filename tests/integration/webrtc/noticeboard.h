#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace tovalin {

// Where library threads write what happened, and the test waits for it.
class Noticeboard {
 public:
  static constexpr std::chrono::seconds kBound{30};

  template <typename Write>
  void write(Write write) {
    {
      std::lock_guard lock(mutex_);
      write();
    }
    changed_.notify_all();
  }

  template <typename Read>
  auto read(Read read) const {
    std::lock_guard lock(mutex_);
    return read();
  }

  // Whether `holds` came true before the bound.
  template <typename Condition>
  [[nodiscard]] bool waitUntil(Condition holds, std::chrono::milliseconds bound = kBound) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, bound, std::move(holds));
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
};

}  // namespace tovalin
