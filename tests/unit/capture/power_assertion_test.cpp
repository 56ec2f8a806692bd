#include "capture/power_assertion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_desktop.h"

namespace tovalin {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class PowerAssertionTest : public testing::Test {
 protected:
  fake::FakePower power;
  PowerAssertion assertion{power};
};

TEST_F(PowerAssertionTest, HoldKeepsTheDisplayOnAndTheSystemAwakeInTheViewersName) {
  assertion.hold();
  ASSERT_THAT(power.created, SizeIs(2));
  EXPECT_EQ(power.created[0].type, "NoDisplaySleepAssertion");
  EXPECT_EQ(power.created[1].type, "NoIdleSleepAssertion");
  for (const auto& created : power.created) {
    EXPECT_EQ(created.level, 255);
    EXPECT_EQ(created.name, "Tovalin viewer connected");
  }
  EXPECT_THAT(power.held, SizeIs(2));
}

TEST_F(PowerAssertionTest, OneReleaseEndsAnyNumberOfHolds) {
  assertion.hold();
  assertion.hold();
  EXPECT_THAT(power.created, SizeIs(2));
  assertion.release();
  EXPECT_THAT(power.held, IsEmpty());
}

TEST_F(PowerAssertionTest, ReleaseWithoutHoldAsksNothingOfTheSystem) {
  assertion.release();
  EXPECT_EQ(power.releases, 0);
  EXPECT_THAT(power.created, IsEmpty());
}

TEST_F(PowerAssertionTest, SecondReleaseAsksNothingOfTheSystem) {
  assertion.hold();
  assertion.release();
  assertion.release();
  EXPECT_EQ(power.releases, 2);
}

TEST_F(PowerAssertionTest, HoldAfterReleaseTakesTwoFreshAssertions) {
  assertion.hold();
  const auto first = power.held;
  assertion.release();
  assertion.hold();
  EXPECT_THAT(power.created, SizeIs(4));
  EXPECT_THAT(power.held, SizeIs(2));
  for (const auto id : first) EXPECT_EQ(power.held.count(id), 0u);
}

TEST_F(PowerAssertionTest, WhatTheSystemRefusedIsNotReleased) {
  power.refuses = true;
  assertion.hold();
  assertion.release();
  EXPECT_EQ(power.releases, 0);
}

TEST_F(PowerAssertionTest, ARefusalDoesNotKeepTheNextHoldFromTrying) {
  power.refuses = true;
  assertion.hold();
  assertion.release();
  power.refuses = false;
  assertion.hold();
  EXPECT_THAT(power.held, SizeIs(2));
}

}  // namespace
}  // namespace tovalin
