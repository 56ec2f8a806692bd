#include "platform/webrtc/picture_prints.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "tests/integration/webrtc/scrolling_screen.h"

namespace tovalin {
namespace {

PicturePrints printsOf(const ScrollingScreen& screen) {
  PicturePrints prints;
  prints.resize(screen.view().width, screen.view().height);
  prints.read(screen.view(), screen.rows());
  return prints;
}

// All of them, one after the other.
std::vector<uint32_t> listOf(const PicturePrints& prints) {
  std::vector<uint32_t> list;
  for (int row = 0; row < prints.height(); ++row) {
    const auto* first = prints.brightness(row);
    list.insert(list.end(), first, first + prints.columns());
  }
  for (int row = 0; row < prints.colourRows(); ++row) {
    const auto* first = prints.colour(row);
    list.insert(list.end(), first, first + prints.columns());
  }
  return list;
}

TEST(PicturePrintsTest, AnyPixelThatChangesChangesOnePrint) {
  constexpr int kWidth = 37;  // whose last column is narrow
  constexpr int kHeight = 19;
  std::vector<uint8_t> pixels(kWidth * kHeight + 2 * 19 * 10, 100);
  const I420View view{kWidth,
                      kHeight,
                      pixels.data(),
                      &pixels[kWidth * kHeight],
                      &pixels[kWidth * kHeight + 190],
                      kWidth,
                      19,
                      19};
  PicturePrints plain;
  plain.resize(kWidth, kHeight);
  plain.read(view, {0, kHeight});
  const auto before = listOf(plain);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    for (const int by : {1, 128}) {
      pixels[i] = static_cast<uint8_t>(pixels[i] + by);
      PicturePrints prints = plain;
      prints.read(view, {0, kHeight});
      const auto after = listOf(prints);
      int different = 0;
      for (std::size_t j = 0; j < after.size(); ++j) different += after[j] != before[j] ? 1 : 0;
      ASSERT_EQ(different, 1) << "byte " << i << " by " << by;
      pixels[i] = 100;
    }
  }
}

TEST(PicturePrintsTest, RowsThatDifferHaveDifferentPrints) {
  constexpr int kWidth = 640;
  constexpr int kHeight = 360;
  std::minstd_rand random;
  std::vector<uint8_t> pixels(kWidth * kHeight * 3 / 2);
  for (auto& pixel : pixels) pixel = static_cast<uint8_t>(random() >> 8);
  const I420View view{kWidth,
                      kHeight,
                      pixels.data(),
                      &pixels[kWidth * kHeight],
                      &pixels[kWidth * kHeight * 5 / 4],
                      kWidth,
                      kWidth / 2,
                      kWidth / 2};
  PicturePrints prints;
  prints.resize(kWidth, kHeight);
  prints.read(view, {0, kHeight});
  const auto list = listOf(prints);
  EXPECT_EQ(std::set(list.begin(), list.end()).size(), list.size());
}

TEST(PicturePrintsTest, OnlyTheRowsAskedForAreReadAndCopiedInWholeRowsOfColours) {
  ScrollingScreen screen(64, 50);
  screen.write(screen.all(), true);
  const auto all = printsOf(screen);
  PicturePrints read;
  read.resize(64, 50);
  read.read(screen.view(), {11, 20});
  PicturePrints copied;
  copied.resize(64, 50);
  copied.copy(all, {11, 20});
  EXPECT_EQ(listOf(copied), listOf(read));
  for (int row = 0; row < 50; ++row) {
    const bool within = row >= 10 && row < 20;
    EXPECT_EQ(read.brightness(row)[0], within ? all.brightness(row)[0] : 0) << row;
    EXPECT_EQ(read.colour(row / 2)[0], within ? all.colour(row / 2)[0] : 0) << row;
  }
  copied.copy(all, {20, 20});
  EXPECT_EQ(listOf(copied), listOf(read));
}

TEST(PicturePrintsTest, AMoveOfPrintsIsAMoveOfPixels) {
  std::minstd_rand random(3);
  for (const int from : {1, -1, 2, 13, -16, 40, -77}) {
    SCOPED_TRACE(from);
    ScrollingScreen screen(203, 147);
    screen.write(screen.all(), from % 2 == 0);
    BlockMove move{from, {}};
    for (int row = 0; row < screen.blockRows(); ++row) {
      const int top = row * kBlock + from;
      for (int column = 0; column < screen.columns(); ++column) {
        const bool within = top >= 0 && top + kBlock <= 147;
        move.moves.push_back(within && random() % 3 != 0 ? 1 : 0);
      }
    }
    auto prints = printsOf(screen);
    prints.move(move);
    EXPECT_EQ(listOf(prints), listOf(printsOf(screen.moved(move))));
  }
}

TEST(PicturePrintsTest, ColoursBetweenTwoRowsAreKnownWhereTheyAreAlike) {
  ScrollingScreen screen(64, 64);
  screen.write();
  auto prints = printsOf(screen);
  std::vector<uint32_t> moved(4);
  prints.movedColour(3, 5, moved.data());
  EXPECT_EQ(moved[0], prints.colour(5)[0]) << "of one colour";
  screen.write({0, 0, 16, 64}, true);
  prints = printsOf(screen);
  prints.movedColour(3, 5, moved.data());
  EXPECT_EQ(moved[0], 0U);
  EXPECT_EQ(moved[1], prints.colour(5)[1]);
  prints.movedColour(3, 4, moved.data());
  EXPECT_EQ(moved[0], prints.colour(5)[0]);
  prints.movedColour(9, -4, moved.data());
  EXPECT_EQ(moved[0], prints.colour(7)[0]);
}

}  // namespace
}  // namespace tovalin
