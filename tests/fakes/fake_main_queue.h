#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "platform/main_queue.h"

namespace tovalin::fake {

// A main queue whose time stands still until the test moves it. Tasks run only inside run() and
// advance(), on the calling thread, in order of due time and then of posting.
class FakeMainQueue : public MainQueue {
 public:
  void post(Task task) override { schedule(0, std::move(task)); }

  void after(double seconds, Task task) override { schedule(toNs(seconds), std::move(task)); }

  std::unique_ptr<Timer> every(double seconds, Task task) override {
    auto timer = std::make_unique<RepeatingTimer>();
    timer->state->task = std::move(task);
    timer->state->intervalNs = toNs(seconds);
    arm(timer->state);
    return timer;
  }

  double wallClock() const override {
    std::lock_guard lock(mutex_);
    return kStartOfTime + static_cast<double>(nowNs_) * 1e-9 + wallClockOffset_;
  }

  int64_t monotonicNs() const override {
    std::lock_guard lock(mutex_);
    return nowNs_;
  }

  // Runs what is due now, and what that posts.
  void run() { advance(0); }

  // Moves time on by `seconds`, running everything that falls due at its own time.
  void advance(double seconds) {
    const int64_t end = monotonicNs() + toNs(seconds);
    while (auto task = takeDue(end)) task();
    std::lock_guard lock(mutex_);
    nowNs_ = end;
  }

  // Sets the wall clock forward or back without the passing of time.
  void jumpWallClock(double seconds) {
    std::lock_guard lock(mutex_);
    wallClockOffset_ += seconds;
  }

  size_t pendingTasks() const {
    std::lock_guard lock(mutex_);
    return tasks_.size();
  }

  // How many repeating timers are alive.
  int liveTimers() const { return *liveTimers_; }

 private:
  static constexpr double kStartOfTime = 1'700'000'000.0;

  struct TimerState {
    Task task;
    int64_t intervalNs = 0;
    std::shared_ptr<int> liveTimers;
    ~TimerState() { --*liveTimers; }
  };

  struct RepeatingTimer : Timer {
    std::shared_ptr<TimerState> state = std::make_shared<TimerState>();
  };

  static int64_t toNs(double seconds) { return static_cast<int64_t>(seconds * 1e9 + 0.5); }

  void arm(const std::shared_ptr<TimerState>& state) {
    if (!state->liveTimers) {
      state->liveTimers = liveTimers_;
      ++*liveTimers_;
    }
    schedule(state->intervalNs, [this, weak = std::weak_ptr<TimerState>(state)] {
      auto timer = weak.lock();
      if (!timer) return;
      arm(timer);
      timer->task();
    });
  }

  void schedule(int64_t delayNs, Task task) {
    std::lock_guard lock(mutex_);
    tasks_.emplace(std::pair(nowNs_ + std::max<int64_t>(delayNs, 0), ++sequence_), std::move(task));
  }

  Task takeDue(int64_t endNs) {
    std::lock_guard lock(mutex_);
    if (tasks_.empty() || tasks_.begin()->first.first > endNs) return {};
    nowNs_ = std::max(nowNs_, tasks_.begin()->first.first);
    Task task = std::move(tasks_.begin()->second);
    tasks_.erase(tasks_.begin());
    return task;
  }

  mutable std::mutex mutex_;
  int64_t nowNs_ = 0;
  double wallClockOffset_ = 0;
  uint64_t sequence_ = 0;
  std::map<std::pair<int64_t, uint64_t>, Task> tasks_;
  std::shared_ptr<int> liveTimers_ = std::make_shared<int>(0);
};

}  // namespace tovalin::fake
