// What libvpx for screens encodes, and what is written in its place.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tests/integration/webrtc/lean_libvpx_fixture.h"
#include "tests/integration/webrtc/written_video.h"

namespace tovalin {
namespace {

bool isKeyFrame(const std::vector<uint8_t>& frame) {
  return !frame.empty() && (frame[0] & 1) == 0;
}

TEST_F(LeanLibvpxTest, ARepeatIsAStillFrame) {
  const auto first = encode();
  ASSERT_TRUE(isKeyFrame(first));
  EXPECT_EQ(repeat(), still());
  EXPECT_EQ(repeat(), still());
  EXPECT_NE(type(1), still());
  EXPECT_EQ(repeat(), still());
}

TEST_F(LeanLibvpxTest, ARepeatIsGivenOutLikeAnyPicture) {
  encode();
  order_->rows = RowBand{};
  ASSERT_EQ(libvpx_->codec_encode(&codec_, &picture_, 17, 3, 0, VPX_DL_REALTIME), VPX_CODEC_OK);
  for (int i = 0; i < 2; ++i) {  // it may be looked at twice
    vpx_codec_iter_t place = nullptr;
    const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->kind, VPX_CODEC_CX_FRAME_PKT);
    EXPECT_EQ(packet->data.frame.pts, 17);
    EXPECT_EQ(packet->data.frame.duration, 3U);
    EXPECT_EQ(packet->data.frame.flags, 0U);
    EXPECT_EQ(libvpx_->codec_get_cx_data(&codec_, &place), nullptr);
  }
  // The next one has its own time, whatever libvpx was told.
  order_->rows.reset();
  ASSERT_EQ(libvpx_->codec_encode(&codec_, &picture_, 20, 1, 0, VPX_DL_REALTIME), VPX_CODEC_OK);
  vpx_codec_iter_t place = nullptr;
  const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place);
  ASSERT_NE(packet, nullptr);
  EXPECT_EQ(packet->data.frame.pts, 20);
}

TEST_F(LeanLibvpxTest, NoEncoderBeginsWithARepeat) {
  EXPECT_TRUE(isKeyFrame(repeat()));
  EXPECT_EQ(repeat(), still());
  end();
  begin();
  EXPECT_TRUE(isKeyFrame(repeat()));
  end();
  reserve_->prepare();
  begin();
  EXPECT_TRUE(isKeyFrame(repeat()));
}

TEST_F(LeanLibvpxTest, AKeyFrameThatIsAskedForIsNoRepeat) {
  encode();
  EXPECT_FALSE(isKeyFrame(repeat()));
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, int{VPX_EFLAG_FORCE_KF}),
            VPX_CODEC_OK);
  EXPECT_TRUE(isKeyFrame(repeat()));
  EXPECT_EQ(repeat(), still());
  EXPECT_EQ(
      libvpx_->codec_encode(&codec_, &picture_, time_++, 1, VPX_EFLAG_FORCE_KF, VPX_DL_REALTIME),
      VPX_CODEC_OK);
  vpx_codec_iter_t place = nullptr;
  const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place);
  ASSERT_NE(packet, nullptr);
  EXPECT_NE(packet->data.frame.flags & VPX_FRAME_IS_KEY, 0U);
}

TEST_F(LeanLibvpxTest, APictureMayBeMovedOnceThereIsOne) {
  BlockMove move{16, std::vector<uint8_t>(120 * 68, 0)};
  move.moves[0] = 1;
  EXPECT_FALSE(order_->changeable);
  encode();
  ASSERT_TRUE(order_->changeable);

  order_->move = &move;
  const auto moved = encode();
  EXPECT_EQ(order_->move, nullptr);
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::moved);
  EXPECT_TRUE(order_->changeable);
  std::vector<uint8_t> expected;
  FrameWriter().move({kWidth, kHeight, 1, static_cast<unsigned>(quantizer())}, move, expected);
  EXPECT_EQ(moved, expected);
  EXPECT_EQ(repeat(), still());
  EXPECT_NE(order_->outcome, PictureOrder::Outcome::moved);
  end();
  begin();
  EXPECT_FALSE(order_->changeable);
}

TEST_F(LeanLibvpxTest, AMoveThatIsNotPossibleIsLeftAndThePictureEncoded) {
  BlockMove move{16, std::vector<uint8_t>(120 * 68, 1)};
  order_->move = &move;
  EXPECT_TRUE(isKeyFrame(encode()));
  EXPECT_EQ(order_->move, &move);
  EXPECT_NE(order_->outcome, PictureOrder::Outcome::moved);
  order_->move = nullptr;
}

TEST_F(LeanLibvpxTest, ASmallChangeIsWrittenAndLibvpxGoesOnFromIt) {
  Viewer viewer;
  viewer.sees(encode());
  for (int round = 0; round < 3; ++round) {
    order_->rows.reset();
    viewer.sees(showPage(round));
    ASSERT_TRUE(order_->changeable);
    for (int letter = 10 * round; letter < 10 * round + 10; ++letter) {
      order_->patch = {{0, 160}, nullptr, Fineness::quick, 100'000, false};
      const auto frame = type(letter);
      EXPECT_EQ(order_->outcome, PictureOrder::Outcome::patched);
      EXPECT_EQ(quantizer(), 15);
      EXPECT_FALSE(viewer.sees(frame).empty());
      order_->patch.reset();
    }
    EXPECT_EQ(repeat(), still());
    order_->rows = RowBand{800, 900};
    const auto next = encode();
    EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
    EXPECT_EQ(viewer.sees(next), lastOf(codec_, {kWidth, kHeight}));
  }
}

TEST_F(LeanLibvpxTest, APatchThatIsTooLargeOrNotPossibleIsLeftAndThePictureEncoded) {
  order_->patch = {{0, kHeight}, nullptr, Fineness::quick, 100'000, false};
  EXPECT_TRUE(isKeyFrame(encode()));
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded) << "there was none";
  order_->rows.reset();
  showNoise();
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
}

// After a key frame all its references are one, which is changed.
TEST_F(LeanLibvpxTest, LibvpxMakesPicturesOfTheLastOneOnly) {
  Viewer viewer;
  viewer.sees(showPage(0));
  constexpr RowBand kTop{0, 96};
  std::fill_n(pixels().begin(), size_t{kWidth} * kTop.bottom, uint8_t{128});
  order_->patch = {kTop, nullptr, Fineness::quick, 100'000, false};
  viewer.sees(encode());
  ASSERT_EQ(order_->outcome, PictureOrder::Outcome::patched);
  order_->patch.reset();
  // What the key frame showed comes again.
  const auto frame = showPage(0);
  ASSERT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
  EXPECT_EQ(viewer.sees(frame), lastOf(codec_, {kWidth, kHeight}));
}

// How a video begins that may be black at first.
class LeanLibvpxBeginning : public LeanLibvpxTest {
 protected:
  // As before any picture.
  void beginsAnew(bool reserved) {
    end();
    if (reserved) reserve_->prepare();
    begin();
    order_->rows.reset();
    order_->patch.reset();
  }
  void beginsBlack() {
    ASSERT_TRUE(order_->begins);
    order_->black = true;
    const auto frame = encode();
    order_->black = false;
    EXPECT_EQ(order_->outcome, PictureOrder::Outcome::black);
    EXPECT_TRUE(order_->changeable);
    EXPECT_FALSE(order_->begins);
    EXPECT_TRUE(isKeyFrame(frame));
    EXPECT_LT(frame.size(), 4'000U);
    const auto seen = viewer_.sees(frame);
    const auto colours = seen.begin() + size_t{kWidth} * kHeight;
    EXPECT_EQ(std::count(seen.begin(), colours, 16), kWidth * kHeight);
    EXPECT_EQ(std::count(colours, seen.end(), 128), kWidth * kHeight / 2);
  }
  std::vector<uint8_t> patches(size_t bytes) {
    order_->patch = {{0, kHeight}, nullptr, Fineness::quick, bytes, false, true};
    const auto frame = encode();
    EXPECT_EQ(order_->outcome, PictureOrder::Outcome::patched);
    EXPECT_FALSE(isKeyFrame(frame));
    seen_ = viewer_.sees(frame);
    return frame;
  }
  // And what libvpx makes next is made of what is seen.
  void goesOn() {
    order_->patch.reset();
    const auto frame = encode();
    EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
    EXPECT_FALSE(isKeyFrame(frame));
    EXPECT_EQ(viewer_.sees(frame), lastOf(codec_, {kWidth, kHeight}));
  }
  double distance() {
    double sum = 0;
    for (size_t i = 0; i < seen_.size(); ++i) sum += std::abs(seen_[i] - pixels()[i]);
    return sum / static_cast<double>(seen_.size());
  }

  Viewer viewer_;
  Bytes seen_;
};

TEST_F(LeanLibvpxBeginning, ThePictureIsPatchedOntoABlackOne) {
  for (const bool reserved : {false, true}) {
    beginsAnew(reserved);
    beginsBlack();
    drawPage(0);
    patches(size_t{1} << 30);
    EXPECT_EQ(order_->patch->fineness, Fineness::quick);
    EXPECT_LT(distance(), 2);
    goesOn();
  }
}

TEST_F(LeanLibvpxBeginning, WhatIsTooMuchAtOnceIsSketched) {
  beginsBlack();
  drawPage(0);
  const auto sketch = patches(20'000);
  EXPECT_EQ(order_->patch->fineness, Fineness::sketch);
  EXPECT_EQ(order_->patch->rows, (RowBand{0, kHeight}));
  const double sketched = distance();
  goesOn();
  beginsAnew(true);
  beginsBlack();
  const auto whole = patches(size_t{1} << 30);
  EXPECT_LT(sketch.size(), whole.size() / 4);
  EXPECT_LT(distance(), sketched / 4);
}

TEST_F(LeanLibvpxBeginning, IsThePictureWhereNothingElseIsWanted) {
  for (const bool reserved : {false, true}) {
    beginsAnew(reserved);
    EXPECT_TRUE(order_->begins);
    const auto frame = encode();
    EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
    EXPECT_TRUE(isKeyFrame(frame));
    EXPECT_FALSE(order_->begins);
    EXPECT_EQ(viewer_.sees(frame), lastOf(codec_, {kWidth, kHeight}));
  }
}

TEST_F(LeanLibvpxBeginning, NothingIsBlackLater) {
  encode();
  order_->black = true;
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, int{VPX_EFLAG_FORCE_KF}),
            VPX_CODEC_OK);
  EXPECT_TRUE(isKeyFrame(encode()));
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
}

TEST_F(LeanLibvpxTest, APatchOfAMoveThatIsTooLargeLeavesTheMove) {
  Viewer viewer;
  viewer.sees(encode());
  const auto before = viewer.sees(showPage(0));
  BlockMove move{16, std::vector<uint8_t>(120 * 68, 0)};
  std::fill_n(move.moves.begin(), 120 * 60, uint8_t{1});
  for (const size_t bytes : {0, 100'000}) {
    order_->move = &move;
    order_->patch = {{0, 96}, nullptr, Fineness::quick, bytes, false};
    const auto seen = viewer.sees(encode());
    EXPECT_EQ(order_->outcome,
              bytes == 0 ? PictureOrder::Outcome::moved : PictureOrder::Outcome::patched);
    EXPECT_EQ(order_->move, nullptr);
    EXPECT_NE(seen, before);
  }
}

TEST_F(LeanLibvpxTest, APatchOfNothingChangesNothing) {
  Viewer viewer;
  viewer.sees(encode());
  const auto before = viewer.sees(showPage(0));
  order_->patch = PicturePatch::Order{};
  EXPECT_EQ(viewer.sees(encode()), before);
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::patched);
}

TEST_F(LeanLibvpxTest, OnlyTheBlocksThatAreNamedAreLookedAt) {
  encode();
  const auto whole = showNoise().size();
  std::vector<uint8_t> blocks(120 * 68, 0);
  std::fill_n(blocks.begin(), 120, uint8_t{1});
  std::minstd_rand random(2);
  for (uint8_t& pixel : pixels()) pixel = static_cast<uint8_t>(random() >> 8);
  order_->blocks = &blocks;
  order_->rows = RowBand{0, kHeight};
  EXPECT_LT(encode().size(), whole / 30);
  order_->blocks = nullptr;
}

// Neither by its references nor by its clock.
TEST_F(LeanLibvpxTest, LibvpxDoesNotNoticeRepeats) {
  const auto video = [this](int repeats) {
    end();
    begin(kWidth, 3'000, 56);
    std::vector<std::vector<uint8_t>> pictures;
    for (int page = 0; page < 5; ++page) {
      order_->rows.reset();
      pictures.push_back(showPage(page));
      for (int letter = 0; letter < 12; ++letter) pictures.push_back(type(letter));
      for (int i = 0; i < repeats; ++i) repeat();
    }
    return pictures;
  };
  EXPECT_EQ(video(100), video(0));
}

TEST_F(LeanLibvpxTest, PicturesAfterALongStillAreAsAfterRepeatsThatLibvpxEncodes) {
  constexpr int kSharp = 15;       // the quantiser's floor
  constexpr int kSharpening = 25;  // pictures with it in a row, before no row is active any more
  struct After {
    size_t bytes = 0;
    int quantizers = 0;
  };
  constexpr int kPages = 5;
  const auto after = [&, this](RowBand looked) {
    end();
    begin(kWidth, 3'000, 56);
    order_->rows.reset();
    showPage(0);
    for (int i = 0, sharp = 0; i < 500 && sharp < kSharpening; ++i) {
      encode();
      sharp = quantizer() <= kSharp ? sharp + 1 : 0;
    }
    EXPECT_LE(quantizer(), kSharp);
    order_->rows = looked;
    for (int i = 0; i < 100; ++i) encode();
    order_->rows.reset();
    After result;
    for (int page = 1; page <= kPages; ++page) {
      result.bytes += showPage(page).size();
      result.quantizers += quantizer();
    }
    return result;
  };
  const auto ours = after({});
  const auto theirs = after({0, 1});  // which is as good as none
  RecordProperty("bytes", std::to_string(ours.bytes) + " " + std::to_string(theirs.bytes));
  RecordProperty("quantizers",
                 std::to_string(ours.quantizers) + " " + std::to_string(theirs.quantizers));
  EXPECT_NEAR(static_cast<double>(ours.bytes), static_cast<double>(theirs.bytes),
              static_cast<double>(theirs.bytes) / 4);
  EXPECT_NEAR(ours.quantizers, theirs.quantizers, kPages * 10);
}

}  // namespace
}  // namespace tovalin
