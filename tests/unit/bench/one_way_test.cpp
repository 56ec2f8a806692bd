// What the benchmarks call a poor network must be one, or their figures mean nothing.

#include "bench/poor_link/one_way.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace tovalin {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::Le;

constexpr std::size_t kPacket = 1250;  // 10 ms at 1 Mbit/s

class OneWayTest : public testing::Test {
 protected:
  void networkIs(const std::string& words) { way_.become(*Conditions::parse(words)); }

  // How long a packet of now takes in milliseconds, or nothing if it is lost.
  std::optional<double> send(std::size_t bytes = kPacket) {
    const auto out = way_.admit(now_, bytes);
    if (!out) return std::nullopt;
    return std::chrono::duration<double, std::milli>(*out - now_).count();
  }
  void pass(double ms) {
    now_ += duration_cast<Conditions::Duration>(std::chrono::duration<double, std::milli>(ms));
  }

  OneWay way_{1};
  OneWay::Time now_{milliseconds(5000)};
};

TEST_F(OneWayTest, TakesNoTimeUnlessToldSo) {
  EXPECT_EQ(send(), 0);
}

TEST_F(OneWayTest, DelaysEveryPacketByTheSame) {
  networkIs("delay=50");
  EXPECT_EQ(send(), 50);
  EXPECT_EQ(send(), 50);
}

TEST_F(OneWayTest, JitterStaysWithinItsBoundsAndReachesThem) {
  networkIs("delay=20 jitter=5");
  std::vector<double> times;
  for (int i = 0; i < 1000; ++i, pass(20)) times.push_back(*send());
  EXPECT_THAT(times, Each(AllOf(Ge(15), Le(25))));
  EXPECT_LT(*std::ranges::min_element(times), 16);
  EXPECT_GT(*std::ranges::max_element(times), 24);
}

TEST_F(OneWayTest, JitterChangesNoOrder) {
  networkIs("delay=20 jitter=20");
  double last = 0;
  for (int i = 0; i < 1000; ++i, pass(2)) {
    const double out = 2 * i + *send();
    ASSERT_GE(out, last - 1e-6);
    last = out;
  }
}

TEST_F(OneWayTest, JitterMovesABurstAsAWhole) {
  networkIs("delay=20 jitter=5");
  const double first = *send();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(send(), first);
}

TEST_F(OneWayTest, LosesTheShareItWasToldTo) {
  networkIs("loss=5");
  for (int i = 0; i < 20000; ++i) send();
  EXPECT_NEAR(static_cast<double>(way_.counts().lost), 1000, 120);
  EXPECT_EQ(way_.counts().passed + way_.counts().lost, 20000U);
}

TEST_F(OneWayTest, ALineSendsOnePacketAfterTheOther) {
  networkIs("rate=1000 queue=200 delay=5");
  EXPECT_THAT((std::vector{*send(), *send(), *send()}), ElementsAre(15, 25, 35));
  pass(100);
  EXPECT_EQ(send(), 15) << "the line had become free";
}

TEST_F(OneWayTest, AFullQueueDropsWhatComes) {
  networkIs("rate=1000 queue=200");
  int taken = 0;
  while (send()) ++taken;
  EXPECT_EQ(taken, 21) << "twenty that wait and one that is being sent";
  EXPECT_EQ(way_.counts().overflowed, 1U);
  pass(10);
  EXPECT_NE(send(), std::nullopt) << "there is room again";
}

TEST_F(OneWayTest, NothingGoesInWhileItIsCut) {
  way_.cut(true);
  EXPECT_EQ(send(), std::nullopt);
  way_.cut(false);
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(way_.counts().cut, 1U);
}

TEST_F(OneWayTest, AShorterDelayLetsNobodyOvertake) {
  networkIs("delay=100");
  send();
  networkIs("delay=10");
  EXPECT_EQ(send(), 100);
}

TEST(ConditionsTest, WhatIsNotUnderstoodIsRefused) {
  for (const char* words :
       {"delay", "delay=", "delay=x", "delay=-1", "delay=5ms", "loss=101", "x=1"}) {
    EXPECT_FALSE(Conditions::parse(words)) << words;
  }
}

}  // namespace
}  // namespace tovalin
