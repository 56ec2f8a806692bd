// What a settling encoder makes of a screen that scrolls.

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

#include "tests/integration/webrtc/settling_encoder_fixture.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;

// A screen large enough to scroll.
class MovingEncoderTest : public SettlingEncoderTest {
 protected:
  MovingEncoderTest() {
    screen_.write();
    shows(screen_.rows());
    order_->changeable = true;
  }

  // What the encoder got of it: one picture, or two.
  void shows(RowBand changed, FrameTypes types = {kDelta}) {
    inner_.orders.clear();
    inner_.blocks.clear();
    inner_.movedBy.clear();
    receiver_.images.clear();
    now_ += 33ms;
    encoder_->Encode(frameOf(copyOf(screen_), now_, changed), &types);
  }
  void scrolls(int from, FrameTypes types = {kDelta}) {
    screen_.scroll(screen_.all(), from);
    shows(screen_.rows(), types);
  }

  ScrollingScreen screen_{800, 600};
};

TEST_F(MovingEncoderTest, AScrollIsMovedAheadAndTheRestFollows) {
  scrolls(16);
  ASSERT_THAT(inner_.movedBy, ElementsAre(16));
  ASSERT_THAT(receiver_.images, SizeIs(2));
  const auto picture = timestampOf(now_);
  EXPECT_EQ(receiver_.images[0].Timestamp(), picture);
  EXPECT_EQ(receiver_.images[1].Timestamp(), picture + 450);
  EXPECT_EQ(inner_.orders[1].move, nullptr);
  ASSERT_THAT(inner_.blocks[1], SizeIs(50 * 38));
  // The last row and the half one below it.
  EXPECT_EQ(std::ranges::count(inner_.blocks[1], 1), 2 * 50);
  EXPECT_EQ(order_->blocks, nullptr) << "which is gone by the next picture";
}

TEST_F(MovingEncoderTest, TimeStampsOfMovesNeverGoBack) {
  uint32_t last = 0;
  for (int i = 0; i < 10; ++i) {
    screen_.scroll(screen_.all(), 16);
    receiver_.images.clear();
    now_ += 1ms;
    encoder_->Encode(frameOf(copyOf(screen_), now_, screen_.rows()), nullptr);
    for (const auto& image : receiver_.images) {
      EXPECT_GT(image.Timestamp(), last);
      last = image.Timestamp();
    }
  }
}

TEST_F(MovingEncoderTest, AKeyFrameNeedsNoMove) {
  scrolls(16, {kKey});
  EXPECT_THAT(inner_.movedBy, ElementsAre());
  EXPECT_THAT(receiver_.images, SizeIs(1));
}

TEST_F(MovingEncoderTest, NothingMovesThatTheEncoderCannotMove) {
  order_->changeable = false;
  scrolls(16);
  EXPECT_THAT(inner_.movedBy, ElementsAre());
  EXPECT_THAT(receiver_.images, SizeIs(1));
  order_->changeable = true;
  inner_.moves = false;
  scrolls(16);
  EXPECT_THAT(inner_.movedBy, ElementsAre());
  EXPECT_EQ(order_->move, nullptr);
  EXPECT_TRUE(inner_.blocks.back().empty());
  inner_.moves = true;
  scrolls(16);
  EXPECT_THAT(inner_.movedBy, ElementsAre(16));
}

TEST_F(MovingEncoderTest, WhatIsDroppedAfterAMoveComesWithTheNextPicture) {
  inner_.drops = true;
  scrolls(16);
  ASSERT_THAT(inner_.movedBy, ElementsAre(16));
  EXPECT_THAT(receiver_.images, SizeIs(1));
  inner_.drops = false;
  scrolls(16);
  ASSERT_THAT(inner_.movedBy, ElementsAre(16));
  // Two rows that were never sent, and the half one.
  EXPECT_EQ(std::ranges::count(inner_.blocks[1], 1), 3 * 50);
}

TEST_F(MovingEncoderTest, AMoveThatLeavesNothingIsTheWholePicture) {
  // A page of which the end is as empty as what comes from below.
  screen_ = ScrollingScreen(800, 600);
  screen_.write({0, 160, 800, 480});
  shows(screen_.rows());
  const auto before = screen_;
  BlockMove move{32, Blocks(50 * 38, 0)};
  for (int row = 6; row < 34; ++row) {
    std::fill_n(move.moves.begin() + row * 50, 50, uint8_t{1});
  }
  screen_ = before.moved(move);
  shows(screen_.rows());
  ASSERT_THAT(inner_.movedBy, ElementsAre(32));
  EXPECT_THAT(receiver_.images, SizeIs(1));
  shows({});
  EXPECT_THAT(receiver_.images, SizeIs(1)) << "it is sharpened once the screen rests";
}

TEST_F(MovingEncoderTest, TheEncoderIsLeftTheBitsThatMovesDoNotTake) {
  Rates rates;
  rates.bitrate.SetBitrate(0, 0, 1'000'000);
  encoder_->SetRates(rates);
  EXPECT_THAT(inner_.bitrates, ElementsAre(900'000));
  inner_.writtenBytes = 20'000;
  scrolls(16);
  ASSERT_THAT(inner_.bitrates, SizeIs(2));
  EXPECT_NEAR(inner_.bitrates.back(), 740'000, 1'000);
}

TEST_F(MovingEncoderTest, ABitrateOfZeroStaysZero) {
  encoder_->SetRates(Rates());
  EXPECT_THAT(inner_.bitrates, ElementsAre(0));
}

}  // namespace
}  // namespace tovalin
