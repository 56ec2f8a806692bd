// How a settling encoder has small changes written and not encoded.

#include <gmock/gmock.h>

#include <chrono>

#include "tests/integration/webrtc/settling_encoder_fixture.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::SizeIs;

constexpr RowBand kAll{0, 600};
constexpr RowBand kLine{100, 117};
constexpr RowBand kOtherLine{300, 317};
constexpr RowBand kRepeat{};

// A screen that has been encoded once, with room for 100 kB.
class PatchingEncoderTest : public SettlingEncoderTest {
 protected:
  PatchingEncoderTest() {
    Rates rates;
    rates.bitrate.SetBitrate(0, 0, 8'000'000);
    encoder_->SetRates(rates);
    screen_.write();
    shows(kAll, 1s);
    inner_.patches = order_->changeable = true;
  }

  void shows(RowBand changed, std::chrono::milliseconds after = 33ms, FrameTypes types = {kDelta}) {
    inner_.orders.clear();
    receiver_.images.clear();
    now_ += after;
    encoder_->Encode(frameOf(copyOf(screen_), now_, changed), &types);
  }
  void settles() {
    shows(kRepeat);
    shows(kRepeat);
    ASSERT_THAT(inner_.orders, IsEmpty());
  }
  const PicturePatch::Order& patch(size_t picture = 0) const {
    return inner_.orders.at(picture).patch.value();
  }

  ScrollingScreen screen_{800, 600};
};

TEST_F(PatchingEncoderTest, AChangeIsPatchedAtOnceAndFinelyWithTheNextRepeat) {
  settles();
  shows(kLine);
  ASSERT_THAT(inner_.orders, SizeIs(1));
  EXPECT_EQ(patch().rows, kLine);
  EXPECT_EQ(patch().fineness, Fineness::quick);
  EXPECT_FALSE(patch().inParts);
  EXPECT_EQ(inner_.orders[0].rows, kLine) << "should it be encoded all the same";
  shows(kRepeat);
  ASSERT_THAT(inner_.orders, SizeIs(1));
  EXPECT_EQ(patch().rows, kLine);
  EXPECT_EQ(patch().fineness, Fineness::fine);
  EXPECT_TRUE(patch().inParts);
  shows(kRepeat);
  EXPECT_THAT(inner_.orders, IsEmpty());
  EXPECT_FALSE(order_->patch) << "which is gone by the next picture";
}

TEST_F(PatchingEncoderTest, WhatWasEncodedIsRefinedByPatches) {
  shows(kRepeat);
  EXPECT_EQ(patch().rows, RefinementPlan::kAllRows);
  EXPECT_EQ(patch().fineness, Fineness::fine);
  shows(kRepeat);
  EXPECT_THAT(inner_.orders, IsEmpty());
}

TEST_F(PatchingEncoderTest, TheNextPartOfARefinementIsAskedForSooner) {
  const auto requests = std::make_shared<Requests>();
  repeats_->add(requests);
  shows(kAll);
  EXPECT_EQ(requests->last, RepeatRequests::When::afterPause);
  inner_.patchesTo = 300;
  shows(kRepeat);
  EXPECT_EQ(patch().fineness, Fineness::fine);
  EXPECT_EQ(requests->last, RepeatRequests::When::next);
  EXPECT_EQ(requests->count, 2);
  shows(kRepeat);
  EXPECT_EQ(patch().rows.top, 300);
  EXPECT_EQ(requests->count, 2) << "all of it is sharp";
  shows(kLine);
  EXPECT_EQ(requests->last, RepeatRequests::When::afterPause);
}

TEST_F(PatchingEncoderTest, APatchMayTakeWhatThereIsRoomFor) {
  settles();
  inner_.writtenBytes = 30'000;
  shows(kLine, 1s);
  EXPECT_EQ(patch().bytes, 100'000U);
  shows(kLine, 1ms);
  EXPECT_NEAR(static_cast<double>(patch().bytes), 70'900, 100);
  encoder_->SetRates(Rates());
  shows(kLine);
  EXPECT_EQ(patch().bytes, 0U);
}

TEST_F(PatchingEncoderTest, WhatWasDroppedIsPatchedWithTheNextPicture) {
  settles();
  inner_.patches = false;
  inner_.drops = true;
  shows(kLine);
  inner_.patches = true;
  shows(kOtherLine);
  EXPECT_EQ(patch().rows, united(kLine, kOtherLine));
  shows(kLine);
  EXPECT_EQ(patch().rows, kLine);
}

TEST_F(PatchingEncoderTest, WhereSomethingChangesAllTheTimeTheRestIsRefinedBesideIt) {
  settles();
  shows(kOtherLine);
  int refined = 0;
  for (int i = 0; i < 30; ++i) {
    shows(kLine);
    ASSERT_FALSE(inner_.orders.empty());
    ASSERT_EQ(patch().rows, kLine);
    if (inner_.orders.size() == 1) continue;
    ASSERT_THAT(inner_.orders, SizeIs(2));
    EXPECT_EQ(patch(1).fineness, Fineness::fine);
    EXPECT_EQ(patch(1).rows, (RowBand{kLine.bottom, kOtherLine.bottom}));
    EXPECT_EQ(receiver_.images[0].Timestamp(), timestampOf(now_));
    EXPECT_EQ(receiver_.images[1].Timestamp(), timestampOf(now_) + 450);
    ++refined;
  }
  EXPECT_EQ(refined, 1);
}

TEST_F(PatchingEncoderTest, AChangeOnASettledScreenIsASingleFrame) {
  settles();
  for (int i = 0; i < 5; ++i) {
    shows(kLine, 1s);
    EXPECT_THAT(inner_.orders, SizeIs(1));
    shows(kRepeat);
  }
}

TEST_F(PatchingEncoderTest, AScrollIsASingleFrame) {
  settles();
  screen_.scroll(screen_.all(), 16);
  shows(kAll);
  ASSERT_THAT(inner_.movedBy, testing::ElementsAre(16));
  ASSERT_THAT(receiver_.images, SizeIs(1));
  EXPECT_EQ(receiver_.images[0].Timestamp(), timestampOf(now_));
  EXPECT_EQ(patch().fineness, Fineness::quick);
  ASSERT_NE(patch().blocks, nullptr);
  // What is shown is known: the next one scrolls as well.
  screen_.scroll(screen_.all(), 32);
  shows(kAll);
  EXPECT_THAT(inner_.movedBy, testing::ElementsAre(16, 32));
  shows(kRepeat);
  EXPECT_EQ(patch().fineness, Fineness::fine);
}

TEST_F(PatchingEncoderTest, AKeyFrameIsEncodedAndRefinedLater) {
  settles();
  inner_.patches = false;  // as an encoder does that is asked for one
  inner_.makesKeyFrames = true;
  shows(kRepeat, 33ms, {kKey});
  ASSERT_THAT(inner_.orders, SizeIs(1));
  EXPECT_EQ(inner_.orders[0].rows, std::nullopt);
  inner_.patches = true;
  shows(kRepeat);
  EXPECT_EQ(patch().rows, RefinementPlan::kAllRows);
}

// A video of which nothing has come out yet.
class BeginningEncoderTest : public PatchingEncoderTest {
 protected:
  BeginningEncoderTest() {
    encoder_->Release();
    order_->begins = true;
  }
};

TEST_F(BeginningEncoderTest, ThePictureIsPatchedOntoABlackOne) {
  shows(kAll, 1s, {kKey});
  ASSERT_THAT(inner_.orders, SizeIs(2));
  EXPECT_TRUE(inner_.orders[0].black);
  EXPECT_FALSE(inner_.orders[0].patch);
  EXPECT_FALSE(inner_.orders[1].black);
  EXPECT_TRUE(patch(1).first);
  EXPECT_EQ(patch(1).rows, RefinementPlan::kAllRows);
  EXPECT_EQ(patch(1).fineness, Fineness::quick);
  EXPECT_EQ(patch(1).bytes, 99'300U) << "what the black one has left of 100 kB";
  EXPECT_EQ(inner_.types.end()[-2], FrameTypes{kKey});
  EXPECT_EQ(inner_.types.back(), FrameTypes{kDelta});
  EXPECT_EQ(receiver_.images[0].Timestamp(), timestampOf(now_));
  EXPECT_EQ(receiver_.images[1].Timestamp(), timestampOf(now_) + 450);
  // It has been shown: the rest is refinement.
  shows(kRepeat);
  ASSERT_THAT(inner_.orders, SizeIs(1));
  EXPECT_EQ(patch().fineness, Fineness::fine);
  EXPECT_FALSE(patch().first);
  screen_.scroll(screen_.all(), 16);
  shows(kAll);
  EXPECT_THAT(inner_.movedBy, testing::ElementsAre(16));
}

TEST_F(BeginningEncoderTest, ASketchGoesAheadOfThePictureThatIsEncoded) {
  inner_.sketches = true;
  shows(kAll, 1s, {kKey});
  ASSERT_THAT(inner_.orders, SizeIs(3));
  EXPECT_FALSE(inner_.orders[2].patch);
  EXPECT_EQ(inner_.orders[2].rows, std::nullopt);
  EXPECT_EQ(inner_.types.back(), FrameTypes{kDelta});
  EXPECT_EQ(receiver_.images[2].Timestamp(), timestampOf(now_) + 900);
  shows(kRepeat);
  ASSERT_THAT(inner_.orders, SizeIs(1));
  EXPECT_EQ(patch().fineness, Fineness::fine);
}

TEST_F(BeginningEncoderTest, WhatIsDroppedAfterTheSketchComesWithTheNextRepeat) {
  inner_.sketches = inner_.drops = true;
  shows(kAll, 1s, {kKey});
  ASSERT_THAT(receiver_.images, SizeIs(2));
  shows(kRepeat);
  ASSERT_THAT(inner_.orders, SizeIs(1));
  EXPECT_EQ(patch().rows, kAll) << "as something new, not as something to refine";
  EXPECT_EQ(patch().fineness, Fineness::quick);
  EXPECT_EQ(inner_.orders[0].rows, std::nullopt);
}

TEST_F(BeginningEncoderTest, AnEncoderThatMakesNoBlackPictureIsGivenThePictureOnce) {
  order_->begins = false;
  inner_.patches = false;
  shows(kAll, 1s, {kKey});
  EXPECT_THAT(inner_.orders, SizeIs(1));
  EXPECT_THAT(receiver_.images, SizeIs(1));
}

// In the half of the time stamps that are not ahead of 0.
TEST_F(PatchingEncoderTest, TimeStampsMayBeginAnywhere) {
  settles();
  now_ += 10h;
  ASSERT_GT(timestampOf(now_), 1U << 31);
  const auto fresh = settling(std::make_unique<FakeEncoder>(inner_), order_, repeats_,
                              std::make_shared<FrameTrace>(std::string()));
  fresh->RegisterEncodeCompleteCallback(&receiver_);
  receiver_.images.clear();
  fresh->Encode(frameOf(copyOf(screen_), now_, kAll), nullptr);
  ASSERT_THAT(receiver_.images, SizeIs(1));
  EXPECT_EQ(receiver_.images[0].Timestamp(), timestampOf(now_));
}

TEST_F(PatchingEncoderTest, AScrollMayTakeAPicturesShareOfTheLine) {
  settles();
  screen_.scroll(screen_.all(), 16);
  shows(kAll, 1s);
  EXPECT_EQ(patch().bytes, 30'000U);
}

TEST_F(PatchingEncoderTest, TimeStampsMayBeSetBack) {
  settles();
  shows(kLine);
  now_ -= 1s;
  shows(kLine);
  ASSERT_THAT(receiver_.images, SizeIs(1));
  EXPECT_EQ(receiver_.images[0].Timestamp(), timestampOf(now_));
}

}  // namespace
}  // namespace tovalin
