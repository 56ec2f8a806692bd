#include "platform/qt/qt_main_queue.h"

#include <gmock/gmock.h>
#include <time.h>

#include <chrono>
#include <limits>
#include <numeric>
#include <thread>

#include "tests/integration/qt/application_test.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class QtMainQueueTest : public ApplicationTest {
 protected:
  void note(const std::string& word) { words_.push_back(word); }
  double now() const { return static_cast<double>(queue_->monotonicNs()) * 1e-9; }

  std::vector<std::string> words_;
};

using QtMainQueueDeathTest = QtMainQueueTest;

TEST_F(QtMainQueueTest, PostedTasksRunInOrderOnTheMainThread) {
  std::vector<int> order;
  const auto main = std::this_thread::get_id();
  for (int i = 0; i < 100; ++i) {
    queue_->post([&, i] {
      EXPECT_EQ(std::this_thread::get_id(), main);
      order.push_back(i);
    });
  }
  EXPECT_THAT(order, IsEmpty());
  runPosted();
  std::vector<int> expected(100);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(order, expected);
}

TEST_F(QtMainQueueTest, ATaskPostedByATaskRunsAfterThoseThatWait) {
  queue_->post([this] {
    note("first");
    queue_->post([this] {
      note("third");
      application_.quit();
    });
  });
  queue_->post([this] { note("second"); });
  run();
  EXPECT_THAT(words_, ElementsAre("first", "second", "third"));
}

TEST_F(QtMainQueueTest, PostsOfManyThreadsAllArriveEachThreadsInOrder) {
  constexpr int kEach = 500;
  const auto main = std::this_thread::get_id();
  std::vector<int> next(4);
  int arrived = 0;
  std::vector<std::thread> threads;
  for (size_t thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kEach; ++i) {
        queue_->post([&, thread, i] {
          EXPECT_EQ(std::this_thread::get_id(), main);
          EXPECT_EQ(next[thread]++, i);
          if (++arrived == 4 * kEach) application_.quit();
        });
      }
    });
  }
  run();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(arrived, 4 * kEach);
}

TEST_F(QtMainQueueTest, ADelayedTaskNeverRunsEarly) {
  const double begin = now();
  for (const double seconds : {0.05, 0.0, 0.0301, 0.0107, 0.02}) {
    queue_->after(seconds, [this, begin, seconds] {
      EXPECT_GE(now() - begin, seconds);
      note(std::to_string(static_cast<int>(seconds * 1000)));
      if (words_.size() == 5) application_.quit();
    });
  }
  run();
  EXPECT_THAT(words_, ElementsAre("0", "10", "20", "30", "50"));
}

TEST_F(QtMainQueueTest, TasksWithOneDelayRunInOrder) {
  for (int i = 0; i < 20; ++i) {
    queue_->after(0.01, [this, i] {
      note(std::to_string(i));
      if (i == 19) application_.quit();
    });
  }
  run();
  for (size_t i = 0; i < words_.size(); ++i) EXPECT_EQ(words_[i], std::to_string(i));
}

TEST_F(QtMainQueueTest, ADelayedTaskMayBeAskedForOnAnyThread) {
  const auto main = std::this_thread::get_id();
  std::thread([&] {
    queue_->after(0.01, [&] {
      EXPECT_EQ(std::this_thread::get_id(), main);
      application_.quit();
    });
  }).join();
  run();
}

TEST_F(QtMainQueueTest, ADelayThatIsNoneRunsSoonAndAnEndlessOneNever) {
  queue_->after(std::numeric_limits<double>::infinity(), [this] { note("never"); });
  queue_->after(1e300, [this] { note("never"); });
  queue_->after(-1, [this] { note("negative"); });
  queue_->after(std::numeric_limits<double>::quiet_NaN(), [this] { note("no number"); });
  queue_->after(0.01, [this] { application_.quit(); });
  run();
  EXPECT_THAT(words_, ElementsAre("negative", "no number"));
}

TEST_F(QtMainQueueTest, ATimerFiresAfterEachIntervalUntilDestroyed) {
  const double begin = now();
  int firings = 0;
  std::unique_ptr<Timer> timer = queue_->every(0.01, [&] {
    ++firings;
    EXPECT_GE(now() - begin, firings * 0.01 - 0.001);
    if (firings == 5) application_.quit();
  });
  run();
  EXPECT_EQ(firings, 5);
  timer.reset();
  queue_->after(0.05, [this] { application_.quit(); });
  run();
  EXPECT_EQ(firings, 5);
}

TEST_F(QtMainQueueTest, ATimerMayBeDestroyedByItsOwnTask) {
  auto alive = std::make_shared<int>(0);
  std::unique_ptr<Timer> timer = queue_->every(0.001, [this, alive, &timer] {
    ++*alive;
    timer.reset();
    // The captures are still there.
    ++*alive;
    queue_->after(0.02, [this] { application_.quit(); });
  });
  run();
  EXPECT_EQ(*alive, 2);
}

TEST_F(QtMainQueueTest, ATimerMayBeReplacedByItsOwnTask) {
  std::unique_ptr<Timer> timer;
  timer = queue_->every(0.001, [this, &timer] {
    note("first");
    timer = queue_->every(0.001, [this] {
      note("second");
      application_.quit();
    });
  });
  run();
  EXPECT_THAT(words_, ElementsAre("first", "second"));
}

TEST_F(QtMainQueueTest, ATimerDestroyedByAnothersTaskFiresNoMore) {
  std::unique_ptr<Timer> timers[2];
  int firings[2] = {};
  for (int i = 0; i < 2; ++i) {
    timers[i] = queue_->every(0.005, [&, i] {
      timers[1 - i].reset();
      if (++firings[i] == 3) application_.quit();
    });
  }
  run();
  EXPECT_EQ(firings[0] + firings[1], 3);
}

TEST_F(QtMainQueueTest, ALateLoopSkipsMissedFirings) {
  int firings = 0;
  const auto timer = queue_->every(0.01, [&] {
    if (++firings > 1) return;
    const double begin = now();
    while (now() - begin < 0.1) {
    }
    queue_->post([&] {
      EXPECT_LE(firings, 2);
      application_.quit();
    });
  });
  run();
}

TEST_F(QtMainQueueTest, TimersLeftAtTheEndOfTheQueueAreHarmless) {
  auto timer = queue_->every(0.001, [] {});
  queue_->post([] {});
  queue_->after(0, [] {});
  queue_.reset();
  timer.reset();
  queue_ = makeQtMainQueue();
  runPosted();
}

TEST_F(QtMainQueueTest, TheClocksAreTheSystems) {
  timespec before;
  clock_gettime(CLOCK_MONOTONIC, &before);
  const int64_t now = queue_->monotonicNs();
  timespec after;
  clock_gettime(CLOCK_MONOTONIC, &after);
  EXPECT_GE(now, before.tv_sec * 1'000'000'000 + before.tv_nsec);
  EXPECT_LE(now, after.tv_sec * 1'000'000'000 + after.tv_nsec);

  const auto wallBefore = static_cast<double>(time(nullptr));
  const double wall = queue_->wallClock();
  EXPECT_GE(wall, wallBefore);
  EXPECT_LE(wall, static_cast<double>(time(nullptr)) + 1);
}

TEST_F(QtMainQueueDeathTest, ATimerOffTheMainThreadIsAHardStop) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(std::thread([this] { (void)queue_->every(1, [] {}); }).join(),
               "a timer is for the main thread");
}

}  // namespace
}  // namespace tovalin::test
