#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace tovalin {

// A shared pointer that one thread replaces while others read it. The lock covers the pointer
// copy alone, never a call through it.
template <typename T>
class SharedSlot {
 public:
  std::shared_ptr<T> load() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  void store(std::shared_ptr<T> value) { exchange(std::move(value)); }

  // Returns the previous value, so that it is destroyed outside the lock.
  std::shared_ptr<T> exchange(std::shared_ptr<T> value) {
    std::lock_guard lock(mutex_);
    std::swap(value_, value);
    return value;
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<T> value_;
};

}  // namespace tovalin
