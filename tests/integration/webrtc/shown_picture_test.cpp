#include "platform/webrtc/shown_picture.h"

#include <gtest/gtest.h>

#include "tests/integration/webrtc/scrolling_screen.h"

namespace tovalin {
namespace {

class ShownPictureTest : public testing::Test {
 protected:
  ShownPictureTest() {
    screen_.write();
    changes();
  }

  void changes() { shown_.changes(screen_.view().width, screen_.view().height, screen_.rows()); }
  void scrolls(int from) {
    screen_.scroll(screen_.all(), from);
    changes();
  }
  // 0: nothing has.
  int found() {
    const auto* scrolled = shown_.scrolled(screen_.view());
    return scrolled == nullptr ? 0 : scrolled->move.from;
  }
  void isSent() { shown_.sent(screen_.view()); }

  ScrollingScreen screen_{800, 600};
  ShownPicture shown_;
};

TEST_F(ShownPictureTest, NothingIsThereBeforeTheFirstPicture) {
  EXPECT_EQ(found(), 0);
  scrolls(20);
  EXPECT_EQ(found(), 0);
  isSent();
  scrolls(20);
  EXPECT_EQ(found(), 20);
}

TEST_F(ShownPictureTest, WhatScrollsAgainAndAgainIsFoundEachTime) {
  isSent();
  for (const int from : {20, 20, -7, 100}) {
    scrolls(from);
    EXPECT_EQ(found(), from);
    isSent();
  }
}

TEST_F(ShownPictureTest, APictureThatWasNotSentIsMadeUpForWithTheNext) {
  isSent();
  scrolls(20);
  EXPECT_EQ(found(), 20);
  scrolls(20);
  EXPECT_EQ(found(), 40);
  shown_.changes(800, 600, {});
  EXPECT_EQ(found(), 40) << "which may be a repeat";
}

TEST_F(ShownPictureTest, AMoveIsSentThoughItsRestIsNot) {
  isSent();
  scrolls(20);
  const auto* scrolled = shown_.scrolled(screen_.view());
  ASSERT_NE(scrolled, nullptr);
  shown_.moved(scrolled->move);
  scrolls(32);
  EXPECT_EQ(found(), 32);
}

TEST_F(ShownPictureTest, OnlyTheRowsThatChangeAreLookedAt) {
  isSent();
  screen_.scroll({0, 0, 800, 320}, 16);
  shown_.changes(800, 600, {0, 320});
  isSent();
  screen_.scroll({0, 0, 800, 320}, 16);
  shown_.changes(800, 600, {400, 600});
  EXPECT_EQ(found(), 0);
  shown_.changes(800, 600, {0, 320});
  EXPECT_EQ(found(), 16);
}

TEST_F(ShownPictureTest, AnotherSizeAndALossBeginAnew) {
  isSent();
  scrolls(20);
  shown_.forget();
  EXPECT_EQ(found(), 0);
  isSent();
  scrolls(20);
  EXPECT_EQ(found(), 20);
  screen_ = ScrollingScreen(640, 480);
  screen_.write();
  changes();
  EXPECT_EQ(found(), 0);
  isSent();
  scrolls(20);
  EXPECT_EQ(found(), 20);
}

TEST_F(ShownPictureTest, WhatWasSentInPartIsRememberedAsFar) {
  isSent();
  scrolls(20);
  EXPECT_EQ(shown_.unsent(), screen_.rows());
  shown_.sent(screen_.view(), 320);
  EXPECT_EQ(shown_.unsent(), (RowBand{320, 600}));
  isSent();
  EXPECT_EQ(shown_.unsent(), RowBand{});
}

}  // namespace
}  // namespace tovalin
