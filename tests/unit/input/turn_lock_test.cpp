#include "input/turn_lock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace tovalin {
namespace {

TEST(TurnLockTest, LetsOneInAtATime) {
  constexpr int kThreads = 4;
  constexpr int kTurns = 2000;
  TurnLock turn;
  int turns = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < kTurns; ++j) {
        std::lock_guard lock(turn);
        ++turns;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(turns, kThreads * kTurns);
}

// With a plain mutex the greedy thread can keep this one waiting for as long as it likes.
TEST(TurnLockTest, AThreadThatNeverRestsKeepsNobodyOut) {
  TurnLock turn;
  bool done = false;
  long greedyTurns = 0;
  std::thread greedy([&] {
    while (true) {
      std::lock_guard lock(turn);
      ++greedyTurns;
      if (done) return;
    }
  });
  for (int i = 0; i < 1000; ++i) {
    std::lock_guard lock(turn);
    done = i == 999;
  }
  greedy.join();
  EXPECT_GE(greedyTurns, 1);
}

}  // namespace
}  // namespace tovalin
