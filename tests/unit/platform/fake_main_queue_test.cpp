#include "tests/fakes/fake_main_queue.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tovalin {
namespace {

using ::testing::DoubleNear;
using ::testing::ElementsAre;

class FakeMainQueueTest : public ::testing::Test {
 protected:
  MainQueue::Task note(const std::string& what) {
    return [this, what] { events_.push_back(what); };
  }
  MainQueue::Task noteTime() {
    return [this] { times_.push_back(queue_.monotonicNs() * 1e-9); };
  }

  fake::FakeMainQueue queue_;
  std::vector<std::string> events_;
  std::vector<double> times_;
};

TEST_F(FakeMainQueueTest, RunsNothingUntilToldTo) {
  queue_.post(note("posted"));
  EXPECT_THAT(events_, ElementsAre());
  queue_.run();
  EXPECT_THAT(events_, ElementsAre("posted"));
}

TEST_F(FakeMainQueueTest, OrdersByDueTimeThenByPosting) {
  queue_.after(2, note("late"));
  queue_.after(1, note("early"));
  queue_.after(2, note("late, posted second"));
  queue_.advance(2);
  EXPECT_THAT(events_, ElementsAre("early", "late", "late, posted second"));
}

TEST_F(FakeMainQueueTest, TasksSeeTheirOwnTime) {
  queue_.after(1.5, noteTime());
  const auto timer = queue_.every(2, noteTime());
  queue_.advance(5);
  EXPECT_THAT(times_, ElementsAre(DoubleNear(1.5, 1e-9), DoubleNear(2, 1e-9), DoubleNear(4, 1e-9)));
  EXPECT_DOUBLE_EQ(queue_.monotonicNs() * 1e-9, 5);
}

TEST_F(FakeMainQueueTest, TimerStopsWithItsHandleEvenFromInsideItsTask) {
  std::unique_ptr<Timer> timer;
  timer = queue_.every(1, [&] {
    events_.emplace_back("fired");
    timer.reset();
  });
  EXPECT_EQ(queue_.liveTimers(), 1);
  queue_.advance(10);
  EXPECT_THAT(events_, ElementsAre("fired"));
  EXPECT_EQ(queue_.liveTimers(), 0);
}

TEST_F(FakeMainQueueTest, WallClockJumpsWithoutTimePassing) {
  queue_.after(1, note("due"));
  const double before = queue_.wallClock();
  queue_.jumpWallClock(3600);
  queue_.run();
  EXPECT_DOUBLE_EQ(queue_.wallClock(), before + 3600);
  EXPECT_THAT(events_, ElementsAre());
}

}  // namespace
}  // namespace tovalin
