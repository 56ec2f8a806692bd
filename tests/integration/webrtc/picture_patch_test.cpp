// What libvpx's decoder makes of patches, and that its encoder goes on from the same.

#include "platform/webrtc/picture_patch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "tests/integration/webrtc/written_video.h"

namespace tovalin {
namespace {

constexpr auto kOnlyLast = VP8_EFLAG_NO_UPD_GF | VP8_EFLAG_NO_UPD_ARF;

// How far apart two pictures are at the most and on the average.
struct Difference {
  int most = 0;
  double average = 0;
};
Difference differenceOf(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  Difference result;
  for (size_t i = 0; i < a.size(); ++i) {
    const int apart = std::abs(a[i] - b[i]);
    result.most = std::max(result.most, apart);
    result.average += apart;
  }
  result.average /= static_cast<double>(a.size());
  return result;
}

// A picture that may be patched, and who sees it.
struct Visit {
  explicit Visit(Size size) : video(size) {
    viewer.sees(video.encode());
    viewer.sees(video.type(kOnlyLast));
  }

  Video video;
  Viewer viewer;
};

class PicturePatchSizes : public testing::TestWithParam<Size> {};

TEST_P(PicturePatchSizes, DecoderAndEncoderGoOnFromTheSame) {
  const auto [width, height] = GetParam();
  Video video(GetParam());
  Viewer viewer;
  viewer.sees(video.encode());
  std::minstd_rand random(width);
  for (int i = 0; i < 40; ++i) {
    if (i % 5 == 0) {
      const auto frame = video.type(kOnlyLast);
      if (!frame.empty()) viewer.sees(frame);
      continue;
    }
    const auto below = [&random](unsigned limit) {
      return static_cast<unsigned>(random() % limit);
    };
    const unsigned left = below(width);
    const unsigned top = below(height);
    const unsigned right = left + 1 + below(150);
    const unsigned bottom = std::min(top + 1 + below(60), height);
    video.paint(left, top, right, bottom, below(256));
    constexpr std::array kAll{Fineness::sketch, Fineness::quick, Fineness::fine};
    const auto fineness = kAll[random() % kAll.size()];
    const auto patch = video.patchRows({static_cast<int>(top), static_cast<int>(bottom)}, fineness);
    ASSERT_FALSE(patch.empty()) << i;
    ASSERT_EQ(viewer.sees(patch), video.last()) << i;
    EXPECT_EQ(viewer.quantizer(), static_cast<int>(MacroblockCoder::quantizer(fineness)));
  }
}

INSTANTIATE_TEST_SUITE_P(Of, PicturePatchSizes,
                         testing::Values(Size{1920, 1080}, Size{64, 48}, Size{17, 33},
                                         Size{1366, 768}, Size{33, 17}, Size{320, 180}));

TEST(PicturePatch, ComesAsNearToThePictureAsItsQuantizer) {
  constexpr Size kSize{320, 180};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  for (int i = 0; i < 20; ++i) {
    video.paint(0, 0, kSize.width, kSize.height);
    const auto quick = differenceOf(viewer.sees(video.patchRows({0, 180})), video.pixels());
    EXPECT_LT(quick.average, 3) << i;
    EXPECT_LT(quick.most, 30) << i;
    const auto fine =
        differenceOf(viewer.sees(video.patchRows({0, 180}, Fineness::fine)), video.pixels());
    EXPECT_LT(fine.average, quick.average * 0.6) << i;
    EXPECT_LT(fine.most, quick.most) << i;
  }
}

TEST(PicturePatch, WhatIsRightIsHardlyCodedAgain) {
  constexpr Size kSize{640, 360};
  for (const auto fineness : {Fineness::quick, Fineness::fine}) {
    Visit visit(kSize);
    auto& [video, viewer] = visit;
    video.paint(100, 100, 300, 130);
    const auto first = video.patchRows({96, 144}, fineness).size();
    EXPECT_LT(video.patchRows({96, 144}, fineness).size(), first / 10);
  }
}

TEST(PicturePatch, MayComeInParts) {
  constexpr Size kSize{640, 360};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  video.paint(0, 0, 640, 360);
  RowBand left{10, 360};
  int parts = 0;
  for (; !isEmpty(left); ++parts) {
    const auto part = video.patch({left, nullptr, Fineness::quick, 50'000, true});
    ASSERT_LT(part.size(), 80'000U);
    ASSERT_TRUE(video.patchedRows);
    ASSERT_EQ(video.patchedRows->top, left.top);
    ASSERT_GT(video.patchedRows->bottom, left.top);
    ASSERT_EQ(viewer.sees(part), video.last());
    left.top = video.patchedRows->bottom;
  }
  EXPECT_EQ(left.top, 360);
  EXPECT_GT(parts, 2);
  EXPECT_LT(differenceOf(viewer.sees(video.patchRows({0, 360})), video.pixels()).average, 3);
}

TEST(PicturePatch, APartHasAWholeRowOfBlocksAtLeast) {
  constexpr Size kSize{640, 360};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  video.paint(0, 0, 640, 360);
  const auto before = video.last();
  EXPECT_TRUE(video.patch({{0, 360}, nullptr, Fineness::quick, 2'000, true}).empty());
  EXPECT_EQ(video.last(), before);
}

TEST(PicturePatch, OnlyTheRowsAndBlocksThatAreNamedAreCoded) {
  constexpr Size kSize{640, 360};
  constexpr unsigned kColumns = 40;
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  video.paint(0, 0, 640, 360);
  const std::vector<uint8_t> only = [] {
    std::vector<uint8_t> blocks(kColumns * 23, 0);
    blocks[kColumns * 2 + 7] = blocks[kColumns * 3] = blocks[kColumns * 9 + 1] = 1;
    return blocks;
  }();
  const auto patch = video.patch({{40, 80}, &only, Fineness::quick, Video::kAnyBytes});
  ASSERT_EQ(viewer.sees(patch), video.last());
  ASSERT_EQ(video.patched().blocks().size(), 2U);
  EXPECT_EQ(video.patched().blocks()[0].index, kColumns * 2 + 7);
  EXPECT_EQ(video.patched().blocks()[1].index, kColumns * 3);
}

TEST(PicturePatch, WhatTakesTooMuchChangesNothing) {
  constexpr Size kSize{640, 360};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  video.paint(0, 0, 640, 360);
  const auto before = video.last();
  EXPECT_TRUE(video.patch({{0, 360}, nullptr, Fineness::quick, 5'000}).empty());
  EXPECT_EQ(video.last(), before);
}

TEST(PicturePatch, MoreBlocksThanItMayHaveChangeNothing) {
  constexpr Size kSize{1920, 1080};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  video.paint(0, 0, 1920, 1080);
  const auto before = video.last();
  EXPECT_TRUE(video.patch({{0, 1080}, nullptr, Fineness::quick, size_t{1} << 30}).empty());
  EXPECT_EQ(video.last(), before);
}

TEST(PicturePatch, TheFirstMayHaveAsManyAsItNeeds) {
  constexpr Size kSize{1920, 1080};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  for (int i = 0; i < 2; ++i) {
    video.paint(0, 0, 1920, 1080);
    PicturePatch::Order order{{0, 1080}, nullptr, Fineness::sketch, size_t{1} << 30};
    EXPECT_TRUE(video.patch(order).empty()) << "which is no first one";
    order.first = true;
    const auto patch = video.patch(order);
    ASSERT_EQ(viewer.sees(patch), video.last());
    EXPECT_GT(video.patched().blocks().size(), 120U * 67U);
  }
}

TEST(PicturePatch, ASketchHasTheQuartersOfEachMacroblock) {
  constexpr Size kSize{320, 192};
  Visit visit(kSize);
  auto& [video, viewer] = visit;
  video.paint(0, 0, kSize.width, kSize.height);
  const auto sketch = video.patchRows({0, 192}, Fineness::sketch);
  const auto seen = viewer.sees(sketch);
  const auto whole = video.patchRows({0, 192});
  EXPECT_LT(sketch.size(), whole.size() / 10);
  const auto averageAt = [](const Bytes& pixels, unsigned top, unsigned left) {
    constexpr unsigned kQuarter = 8;
    int sum = 0;
    for (unsigned row = top; row < top + kQuarter; ++row) {
      for (unsigned column = left; column < left + kQuarter; ++column) {
        sum += pixels[row * kSize.width + column];
      }
    }
    return sum / static_cast<int>(kQuarter * kQuarter);
  };
  const auto picture = video.pixels();
  for (unsigned top = 0; top < kSize.height; top += 8) {
    for (unsigned left = 0; left < kSize.width; left += 8) {
      EXPECT_NEAR(averageAt(seen, top, left), averageAt(picture, top, left), 8);
    }
  }
}

TEST(PicturePatch, ComesTogetherWithAMove) {
  for (const Size size : {Size{640, 360}, Size{333, 177}}) {
    Video video(size);
    Viewer viewer;
    viewer.sees(video.encode());
    std::minstd_rand random(7);
    const int columns = blocksAlong(static_cast<int>(size.width));
    const int rows = blocksAlong(static_cast<int>(size.height));
    for (const int from : {16, -16, 5, -7, 48}) {
      viewer.sees(video.type(kOnlyLast));
      BlockMove move{from, std::vector<uint8_t>(static_cast<size_t>(columns * rows), 0)};
      for (int row = 0; row < rows; ++row) {
        const int top = row * kBlock + from;
        if (top < 0 || top + kBlock > static_cast<int>(size.height)) continue;
        for (int column = 0; column < columns; ++column) {
          move.moves[static_cast<size_t>(row * columns + column)] = random() % 4 == 0 ? 0 : 1;
        }
      }
      const auto left = static_cast<unsigned>(random() % size.width);
      video.paint(left, 20, left + 90, 70);
      const auto patch = video.patch({{16, 80}, nullptr, Fineness::quick, Video::kAnyBytes}, &move);
      ASSERT_FALSE(patch.empty());
      ASSERT_EQ(viewer.sees(patch), video.last()) << from;
    }
  }
}

}  // namespace
}  // namespace tovalin
