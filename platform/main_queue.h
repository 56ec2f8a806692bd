#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace tovalin {

// A repeating timer. Destroying the handle stops it; no firing happens after that.
// Main thread only.
class Timer {
 public:
  virtual ~Timer() = default;
};

// The main thread's run loop, and the clocks. One object carries both, so that a test which owns
// the queue owns time as well. Lives as long as the process.
class MainQueue {
 public:
  using Task = std::function<void()>;

  virtual ~MainQueue() = default;

  // Runs `task` on the main thread, in posting order. Any thread.
  virtual void post(Task task) = 0;

  // Runs `task` on the main thread once, no sooner than `seconds` from now. Cannot be cancelled:
  // a task that may outlive its owner holds it weakly (see weak_task.h). Any thread.
  virtual void after(double seconds, Task task) = 0;

  // Runs `task` on the main thread every `seconds`, first after one interval. A late loop skips
  // missed firings, it never makes them up. Main thread only.
  [[nodiscard]] virtual std::unique_ptr<Timer> every(double seconds, Task task) = 0;

  // Seconds since 1970; may jump when the clock is set. Any thread.
  virtual double wallClock() const = 0;

  // Nanoseconds on the monotonic media clock. Any thread.
  virtual int64_t monotonicNs() const = 0;
};

}  // namespace tovalin
