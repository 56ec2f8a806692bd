#include "platform/x11/x11_frame_loan.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

namespace tovalin {
namespace {

TEST(FrameLoanTest, IsFreeUntilLentAndAfterItIsGivenUp) {
  FrameLoan loan;
  EXPECT_TRUE(loan.free());
  const auto number = loan.lend();
  EXPECT_FALSE(loan.free());
  EXPECT_FALSE(loan.takeBack());
  EXPECT_TRUE(loan.giveUp(number));
  EXPECT_TRUE(loan.free());
  EXPECT_TRUE(loan.takeBack());
}

TEST(FrameLoanTest, IsReadUntilItIsTakenBack) {
  FrameLoan loan;
  const auto number = loan.lend();
  loan.giveUp(number);
  ASSERT_TRUE(loan.beginReading(number));
  EXPECT_FALSE(loan.free());
  EXPECT_FALSE(loan.takeBack());
  EXPECT_TRUE(loan.endReading());
  EXPECT_TRUE(loan.takeBack());
  EXPECT_FALSE(loan.beginReading(number));
}

TEST(FrameLoanTest, TheLastOfThoseWhoUseItMakesItFree) {
  FrameLoan loan;
  const auto number = loan.lend();
  ASSERT_TRUE(loan.beginReading(number));
  ASSERT_TRUE(loan.beginReading(number));
  EXPECT_FALSE(loan.giveUp(number));
  EXPECT_FALSE(loan.endReading());
  EXPECT_TRUE(loan.endReading());
}

TEST(FrameLoanTest, AnEarlierLoanHasNoSayInTheNext) {
  FrameLoan loan;
  const auto earlier = loan.lend();
  loan.giveUp(earlier);
  EXPECT_FALSE(loan.giveUp(earlier));
  ASSERT_TRUE(loan.takeBack());
  const auto later = loan.lend();
  EXPECT_FALSE(loan.giveUp(earlier));
  EXPECT_FALSE(loan.beginReading(earlier));
  EXPECT_FALSE(loan.takeBack());
  EXPECT_TRUE(loan.beginReading(later));
}

// One thread fills the buffer with one value after the other; three read every loan that they come
// in time for, and give it up.
TEST(FrameLoanTest, WhatIsReadNeverChangesMeanwhile) {
  constexpr uint64_t kLoans = 5000;
  constexpr FrameLoan::Number kNone = ~FrameLoan::Number{0};
  FrameLoan loan;
  std::array<uint64_t, 64> pixels{};
  std::atomic<FrameLoan::Number> newest{kNone};
  std::atomic<int> torn{0};
  std::atomic<uint64_t> read{0};
  std::atomic<bool> ended{false};

  std::vector<std::thread> readers;
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([&] {
      FrameLoan::Number last = kNone;
      while (!ended) {
        const FrameLoan::Number number = newest;
        if (number == last || !loan.beginReading(number)) {
          loan.giveUp(last);
          std::this_thread::yield();
          continue;
        }
        const uint64_t value = pixels[0];
        for (const uint64_t pixel : pixels) torn += pixel != value;
        loan.endReading();
        loan.giveUp(number);
        last = number;
        ++read;
      }
    });
  }
  for (uint64_t value = 1; value <= kLoans; ++value) {
    for (uint64_t& pixel : pixels) pixel = value;
    newest = loan.lend();
    while (!loan.takeBack()) std::this_thread::yield();
  }
  ended = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(torn, 0);
  EXPECT_GT(read, 0U);
  EXPECT_TRUE(loan.free());
}

}  // namespace
}  // namespace tovalin
