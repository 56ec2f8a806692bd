#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace tovalin::test {

// How long a test waits for something that must happen.
inline constexpr std::chrono::seconds kBound{20};

// Values that one thread puts in and another waits for. Copies share what is in it, so that a
// thread which goes on after the test's end may keep one.
template <typename T>
class Inbox {
 public:
  void put(T value) const {
    std::lock_guard lock(state_->mutex);
    state_->values.push_back(std::move(value));
    state_->changed.notify_all();
  }

  // The next value; absent when none has come within the bound.
  std::optional<T> take() const {
    std::unique_lock lock(state_->mutex);
    auto& values = state_->values;
    if (!state_->changed.wait_for(lock, kBound, [&] { return !values.empty(); })) {
      return std::nullopt;
    }
    T value = std::move(values.front());
    values.pop_front();
    return value;
  }

  size_t size() const {
    std::lock_guard lock(state_->mutex);
    return state_->values.size();
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<T> values;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace tovalin::test
