#include "platform/qt/qt_main_queue.h"

#include <time.h>

#include <QObject>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "platform/fatal.h"

namespace tovalin {
namespace {

constexpr int64_t kNsPerMs = 1'000'000;

// The longest single wait handed to Qt, whose intervals are int milliseconds.
constexpr int64_t kLongestWaitMs = int64_t{24} * 3600 * 1000;

int64_t monotonicClockNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// Nothing, for what is negative or no number; some centuries at most.
int64_t toNs(double seconds) {
  return seconds > 0 ? static_cast<int64_t>(std::min(seconds, 9e9) * 1e9) : 0;
}

class QtTimer : public Timer {
 public:
  QtTimer(QObject* context, int milliseconds, MainQueue::Task task) : timer_(new QTimer(context)) {
    timer_->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer_, &QTimer::timeout, context, std::move(task));
    timer_->start(milliseconds);
  }

  // The handle may be destroyed by its own task, so Qt's object must survive this.
  ~QtTimer() override {
    if (!timer_) return;
    timer_->stop();
    timer_->deleteLater();
  }

 private:
  const QPointer<QTimer> timer_;
};

class QtMainQueue : public MainQueue {
 public:
  void post(Task task) override {
    QMetaObject::invokeMethod(&context_, std::move(task), Qt::QueuedConnection);
  }

  void after(double seconds, Task task) override {
    const int64_t dueNs = monotonicNs() + toNs(seconds);
    post([this, dueNs, task = std::move(task)]() mutable { wait(dueNs, std::move(task)); });
  }

  std::unique_ptr<Timer> every(double seconds, Task task) override {
    if (QThread::currentThread() != context_.thread()) fatal("a timer is for the main thread");
    const int64_t milliseconds = (toNs(seconds) + kNsPerMs / 2) / kNsPerMs;
    return std::make_unique<QtTimer>(
        &context_, static_cast<int>(std::clamp<int64_t>(milliseconds, 1, kLongestWaitMs)),
        std::move(task));
  }

  double wallClock() const override {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  }

  int64_t monotonicNs() const override { return monotonicClockNs(); }

 private:
  // Waits in steps, and again if Qt should come early.
  void wait(int64_t dueNs, Task task) {
    const int64_t leftNs = dueNs - monotonicNs();
    if (leftNs <= 0) {
      task();
      return;
    }
    const int64_t milliseconds = std::min((leftNs + kNsPerMs - 1) / kNsPerMs, kLongestWaitMs);
    QTimer::singleShot(
        static_cast<int>(milliseconds), Qt::PreciseTimer, &context_,
        [this, dueNs, task = std::move(task)]() mutable { wait(dueNs, std::move(task)); });
  }

  QObject context_;
};

}  // namespace

std::unique_ptr<MainQueue> makeQtMainQueue() {
  return std::make_unique<QtMainQueue>();
}

}  // namespace tovalin
