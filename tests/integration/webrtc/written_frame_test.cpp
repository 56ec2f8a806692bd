// What libvpx's decoder makes of frames that are written, and that its encoder goes on from the
// same.

#include "platform/webrtc/written_frame.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "tests/integration/webrtc/written_video.h"

namespace tovalin {
namespace {

Bytes stillFrame(const WrittenFrameKind& kind) {
  Bytes frame;
  FrameWriter().still(kind, frame);
  return frame;
}

// Shows still frames to one of two viewers only: neither may see anything of it.
void expectNoTrace(Size size, unsigned profile, int pictures, int every) {
  Video video(size, profile);
  const auto still = stillFrame({size.width, size.height, profile, 20});
  Viewer with;
  Viewer without;
  for (int i = 0; i < pictures; ++i) {
    const auto frame = i == 0 ? video.encode() : video.type();
    if (frame.empty()) continue;  // dropped
    const auto seen = with.sees(frame);
    ASSERT_FALSE(seen.empty());
    ASSERT_EQ(seen, without.sees(frame)) << i;
    if (i % every != every - 1) continue;
    for (int j = 0; j < 3; ++j) ASSERT_EQ(with.sees(still), seen) << i;
  }
}

class StillFrameSizes : public testing::TestWithParam<Size> {};

TEST_P(StillFrameSizes, ShowsThePictureBeforeItAndLeavesNoTrace) {
  expectNoTrace(GetParam(), 1, 12, 4);
}

INSTANTIATE_TEST_SUITE_P(Of, StillFrameSizes,
                         testing::Values(Size{1920, 1080}, Size{16, 16}, Size{17, 33},
                                         Size{1366, 768}, Size{3840, 2160}, Size{33, 17}));

// With golden frames in between, which libvpx makes every 40 pictures.
TEST(StillFrame, LeavesNoTraceInALongVideo) {
  expectNoTrace({320, 180}, 1, 200, 1);
  expectNoTrace({640, 360}, 1, 200, 7);
}

TEST(StillFrame, IsOfEveryProfile) {
  for (unsigned profile = 0; profile < 4; ++profile) {
    SCOPED_TRACE(profile);
    expectNoTrace({320, 180}, profile, 20, 3);
  }
}

TEST(StillFrame, MayComeAfterTheKeyFrame) {
  expectNoTrace({320, 180}, 1, 4, 1);
}

TEST(StillFrame, TellsTheQuantizer) {
  constexpr Size kSize{320, 180};
  Video video(kSize);
  Viewer viewer;
  viewer.sees(video.encode());
  viewer.sees(stillFrame({kSize.width, kSize.height, 1, 15}));
  EXPECT_EQ(viewer.quantizer(), 15);
  viewer.sees(stillFrame({kSize.width, kSize.height, 1, 127}));
  EXPECT_EQ(viewer.quantizer(), 127);
}

TEST(StillFrame, IsSmall) {
  EXPECT_LT(stillFrame({1920, 1080, 1, 15}).size(), 300U);
}

// Any blocks that may move so far.
BlockMove anyMove(Size size, int from, std::minstd_rand& random) {
  BlockMove move;
  move.from = from;
  const int columns = blocksAlong(static_cast<int>(size.width));
  const int rows = blocksAlong(static_cast<int>(size.height));
  const auto rarely = random() % 8;  // so that some stand alone, and some in large areas
  for (int row = 0; row < rows; ++row) {
    const int top = row * kBlock + from;
    const bool within = top >= 0 && top + kBlock <= static_cast<int>(size.height);
    for (int column = 0; column < columns; ++column) {
      move.moves.push_back(within && (random() >> 8) % 8 >= rarely ? 1 : 0);
    }
  }
  return move;
}

constexpr auto kOnlyLast = VP8_EFLAG_NO_UPD_GF | VP8_EFLAG_NO_UPD_ARF;

void expectMovesAreShared(Size size, unsigned profile, const std::vector<int>& distances) {
  SCOPED_TRACE(testing::Message() << "profile " << profile);
  Video video(size, profile);
  Viewer viewer;
  std::minstd_rand random(size.width);
  viewer.sees(video.encode());
  for (const int from : distances) {
    const auto frame = video.type(kOnlyLast);
    if (!frame.empty()) viewer.sees(frame);
    const auto before = video.last();
    const auto seen = viewer.sees(video.move(anyMove(size, from, random), profile));
    ASSERT_EQ(seen, video.last()) << from;
    if (from != 0 && std::abs(from) + 48 < static_cast<int>(size.height)) {
      ASSERT_NE(seen, before) << from;
    }
    const auto next = video.type(kOnlyLast);
    if (next.empty()) continue;
    ASSERT_EQ(viewer.sees(next), video.last()) << from;
  }
}

class MoveFrameSizes : public testing::TestWithParam<Size> {};

TEST_P(MoveFrameSizes, DecoderAndEncoderGoOnFromTheSame) {
  expectMovesAreShared(GetParam(), 1, {1, -1, 2, -2, 7, 8, -13, 16, 65, -64, 100, 255, -255});
  expectMovesAreShared(GetParam(), 2, {3, -5, 12});
}

INSTANTIATE_TEST_SUITE_P(Of, MoveFrameSizes,
                         testing::Values(Size{1920, 1080}, Size{64, 48}, Size{17, 33},
                                         Size{1366, 768}, Size{3840, 2160}, Size{33, 17}));

}  // namespace
}  // namespace tovalin
