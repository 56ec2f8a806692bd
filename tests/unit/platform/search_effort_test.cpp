#include "platform/webrtc/search_effort.h"

#include <gtest/gtest.h>

namespace tovalin {
namespace {

class SearchEffortTest : public testing::Test {
 protected:
  void encodes(int pictures) {
    for (int i = 0; i < pictures; ++i) {
      effort_.given();
      effort_.cameOut();
    }
  }
  void drops(int pictures) {
    for (int i = 0; i < pictures; ++i) effort_.given();
  }
  // As the next picture is encoded.
  int slower() {
    effort_.given();
    effort_.cameOut();
    return effort_.slower();
  }

  SearchEffort effort_;
};

TEST_F(SearchEffortTest, WhereNothingIsDroppedTheSpeedStays) {
  encodes(5 * SearchEffort::kCalm);
  EXPECT_EQ(slower(), 0);
}

TEST_F(SearchEffortTest, EachDropMakesTheNextPictureMoreThorough) {
  drops(1);
  EXPECT_EQ(slower(), 2);
  drops(1);
  EXPECT_EQ(slower(), 4);
}

TEST_F(SearchEffortTest, AWideLineIsNotWorthIt) {
  effort_.carries(SearchEffort::kWide);
  drops(2);
  EXPECT_EQ(slower(), 0);
  effort_.carries(SearchEffort::kWide - 1);
  EXPECT_EQ(slower(), 4);
}

TEST_F(SearchEffortTest, ThereIsAnEndToIt) {
  drops(100);
  EXPECT_EQ(slower(), 4);
}

TEST_F(SearchEffortTest, CalmBringsTheSpeedBackStepByStep) {
  drops(2);
  ASSERT_EQ(slower(), 4);
  encodes(SearchEffort::kCalm - 1);
  EXPECT_EQ(slower(), 2);
  encodes(SearchEffort::kCalm - 1);
  EXPECT_EQ(slower(), 0);
}

TEST_F(SearchEffortTest, ADropInBetweenBeginsTheCalmAnew) {
  drops(1);
  encodes(SearchEffort::kCalm);
  drops(1);
  encodes(SearchEffort::kCalm - 1);
  EXPECT_NE(slower(), 0);
}

}  // namespace
}  // namespace tovalin
