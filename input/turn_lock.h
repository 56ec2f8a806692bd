#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tovalin {

// A mutex that is had in the order of asking. With a plain one, a thread that gives it up and
// takes it again at once, thousands of times, can keep a waiting main thread out for seconds.
class TurnLock {
 public:
  void lock() {
    std::unique_lock lock(mutex_);
    const uint64_t own = next_++;
    turn_.wait(lock, [&] { return own == serving_; });
  }

  void unlock() {
    {
      std::lock_guard lock(mutex_);
      ++serving_;
    }
    turn_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable turn_;
  uint64_t next_ = 0;
  uint64_t serving_ = 0;
};

}  // namespace tovalin
