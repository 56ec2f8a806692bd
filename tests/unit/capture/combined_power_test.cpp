#include "capture/combined_power.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_desktop.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class CombinedPowerTest : public testing::Test {
 protected:
  AssertionId create() {
    return power_.createAssertion(kNoDisplaySleep, kAssertionLevelOn, "A viewer");
  }

  fake::FakePower server_;
  fake::FakePower services_;
  CombinedPower power_{{&server_, &services_}};
};

TEST_F(CombinedPowerTest, AnAssertionIsHeldByEveryManager) {
  EXPECT_NE(create(), 0u);
  ASSERT_THAT(server_.created, SizeIs(1));
  EXPECT_EQ(server_.created[0].type, kNoDisplaySleep);
  EXPECT_EQ(server_.created[0].level, kAssertionLevelOn);
  EXPECT_EQ(server_.created[0].name, "A viewer");
  EXPECT_THAT(server_.held, SizeIs(1));
  EXPECT_THAT(services_.held, SizeIs(1));
}

TEST_F(CombinedPowerTest, AReleaseGivesBackEveryManagersOwn) {
  // The managers count differently.
  services_.createAssertion(kNoIdleSleep, kAssertionLevelOn, "somebody else");
  const auto id = create();
  power_.releaseAssertion(id);
  EXPECT_THAT(server_.held, IsEmpty());
  EXPECT_THAT(services_.held, ElementsAre(1u));
}

TEST_F(CombinedPowerTest, AssertionsAreReleasedOneByOneAndOnce) {
  const auto first = create();
  const auto second = create();
  EXPECT_NE(first, second);
  power_.releaseAssertion(first);
  power_.releaseAssertion(first);
  EXPECT_THAT(server_.held, SizeIs(1));
  EXPECT_EQ(server_.releases, 1);
  power_.releaseAssertion(second);
  EXPECT_THAT(server_.held, IsEmpty());
}

TEST_F(CombinedPowerTest, OneManagerThatRefusesDoesNotLoseTheOther) {
  server_.refuses = true;
  const auto id = create();
  EXPECT_NE(id, 0u);
  EXPECT_THAT(services_.held, SizeIs(1));
  power_.releaseAssertion(id);
  EXPECT_THAT(services_.held, IsEmpty());
  EXPECT_EQ(server_.releases, 0);
}

TEST_F(CombinedPowerTest, WhatNobodyOffersIsNotHeld) {
  server_.refuses = true;
  services_.refuses = true;
  EXPECT_EQ(create(), 0u);
}

TEST_F(CombinedPowerTest, NothingIsReleasedForAnUnknownAssertion) {
  power_.releaseAssertion(0);
  power_.releaseAssertion(7);
  EXPECT_EQ(server_.releases + services_.releases, 0);
}

TEST_F(CombinedPowerTest, ActivityIsDeclaredToEveryManager) {
  power_.declareUserActivity("A viewer");
  EXPECT_THAT(server_.activities, ElementsAre("A viewer"));
  EXPECT_THAT(services_.activities, ElementsAre("A viewer"));
}

}  // namespace
}  // namespace tovalin
