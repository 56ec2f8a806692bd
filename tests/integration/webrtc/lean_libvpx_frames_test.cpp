// What libvpx for screens encodes, and what is written in its place.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

constexpr int kOnlyLast = VP8_EFLAG_NO_UPD_GF | VP8_EFLAG_NO_UPD_ARF;

TEST_F(LeanLibvpxTest, APictureMayBeMovedOnceItIsAReferenceOfItsOwn) {
  BlockMove move{16, std::vector<uint8_t>(120 * 68, 0)};
  move.moves[0] = 1;
  EXPECT_FALSE(order_->changeable);
  encode();
  EXPECT_FALSE(order_->changeable) << "the key frame is all references";
  type(1);
  EXPECT_FALSE(order_->changeable) << "it may have become the golden frame as well";
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
  type(2);
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
  encode();
  order_->move = &move;
  EXPECT_FALSE(type(1).empty());
  EXPECT_EQ(order_->move, &move);
  EXPECT_NE(order_->outcome, PictureOrder::Outcome::moved);
  order_->move = nullptr;
}

TEST_F(LeanLibvpxTest, ASmallChangeIsWrittenAndLibvpxGoesOnFromIt) {
  Viewer viewer;
  viewer.sees(encode());
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
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
    EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
    order_->rows = RowBand{800, 900};
    const auto next = encode();
    EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
    EXPECT_EQ(viewer.sees(next), lastOf(codec_, {kWidth, kHeight}));
  }
}

TEST_F(LeanLibvpxTest, APatchThatIsTooLargeOrNotPossibleIsLeftAndThePictureEncoded) {
  encode();
  order_->patch = {{0, kHeight}, nullptr, Fineness::quick, 100'000, false};
  EXPECT_FALSE(type(1).empty());
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded) << "right after a key frame";
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
  type(2);
  order_->rows.reset();
  showNoise();
  EXPECT_EQ(order_->outcome, PictureOrder::Outcome::encoded);
}

TEST_F(LeanLibvpxTest, APatchOfAMoveThatIsTooLargeLeavesTheMove) {
  Viewer viewer;
  viewer.sees(encode());
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
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
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
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
