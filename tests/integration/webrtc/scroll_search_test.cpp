#include "platform/webrtc/scroll_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/integration/webrtc/scrolling_screen.h"

namespace tovalin {
namespace {

using Area = ScrollingScreen::Area;

class ScrollSearchTest : public testing::Test {
 protected:
  const ScrollSearch::Found* search(const ScrollingScreen& before, const ScrollingScreen& after,
                                    RowBand rows) {
    for (auto* prints : {&shown_, &fresh_}) {
      prints->resize(before.view().width, before.view().height);
    }
    shown_.read(before.view(), before.rows());
    fresh_ = shown_;
    fresh_.read(after.view(), rows);
    return search_.find(shown_, fresh_, rows);
  }
  const ScrollSearch::Found* search(const ScrollingScreen& before, const ScrollingScreen& after) {
    return search(before, after, before.rows());
  }

  // After the move there is nothing else to be seen than what is to be seen, but for the rest.
  static void expectRight(const ScrollSearch::Found& found, const ScrollingScreen& before,
                          const ScrollingScreen& after) {
    const auto moved = before.moved(found.move);
    for (int row = 0; row < before.blockRows(); ++row) {
      for (int column = 0; column < before.columns(); ++column) {
        const bool rest = before.has(found.rest, column, row);
        EXPECT_EQ(moved.isAlike(after, column, row), !rest) << column << ", " << row;
        if (rest) {
          EXPECT_LE(found.restRows.top, row * kBlock);
          EXPECT_GE(found.restRows.bottom, std::min((row + 1) * kBlock, after.rows().bottom));
        }
        if (before.has(found.move.moves, column, row)) {
          EXPECT_LE(found.moved.top, row * kBlock);
          EXPECT_GE(found.moved.bottom, std::min((row + 1) * kBlock, after.rows().bottom));
        }
      }
    }
  }

  static int count(const std::vector<uint8_t>& blocks) {
    return static_cast<int>(std::ranges::count(blocks, 1));
  }

  PicturePrints shown_;
  PicturePrints fresh_;
  ScrollSearch search_;
};

TEST_F(ScrollSearchTest, AScreenThatScrollsMovesAndLeavesWhatIsNewAtItsEnd) {
  for (const int from : {1, -1, 8, 19, -19, 38, 95, -130, 255, -255}) {
    SCOPED_TRACE(from);
    ScrollingScreen before(1280, 725);
    before.write();
    ScrollingScreen after = before;
    after.scroll(after.all(), from);
    const auto* found = search(before, after);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->move.from, from);
    expectRight(*found, before, after);
    const int newRows = (std::abs(from) + kBlock - 1) / kBlock + 2;
    EXPECT_LE(count(found->rest), newRows * before.columns());
  }
}

TEST_F(ScrollSearchTest, SoDoesAPartOfIt) {
  constexpr Area kWindow{203, 96, 977, 611};
  ScrollingScreen before(1280, 720);
  before.write(before.all(), true);
  before.write(kWindow);
  ScrollingScreen after = before;
  after.scroll(kWindow, 48);
  const auto* found = search(before, after, {kWindow.top, kWindow.bottom});
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->move.from, 48);
  expectRight(*found, before, after);
  // At the sides of the window something else stays.
  EXPECT_TRUE(before.has(found->rest, kWindow.left / kBlock, 20));
  EXPECT_FALSE(before.has(found->move.moves, 0, 20));
}

TEST_F(ScrollSearchTest, WhatElseChangesIsLeftToBeEncoded) {
  std::minstd_rand random(7);
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    ScrollingScreen before(800, 600, seed);
    const bool coloured = seed % 2 == 0;
    before.write(before.all(), coloured);
    ScrollingScreen after = before;
    const auto any = [&random](int below) {
      return static_cast<int>(random() % static_cast<unsigned>(below));
    };
    const int from = (any(2) == 0 ? 1 : -1) * (1 + any(200));
    const int left = any(200);
    const int top = any(100);
    after.scroll({left, top, 800 - any(200), 600 - any(100)}, from, coloured);
    for (int i = 0; i < 5; ++i) {
      const int x = any(700);
      const int y = any(500);
      after.write({x, y, x + 1 + any(90), y + 1 + any(90)}, coloured);
    }
    if (const auto* found = search(before, after)) {
      EXPECT_EQ(found->move.from, from);
      expectRight(*found, before, after);
    } else {
      ADD_FAILURE() << "nothing found";
    }
  }
}

TEST_F(ScrollSearchTest, ColoursThatLieBetweenTwoRowsAreLeftToBeEncoded) {
  ScrollingScreen before(800, 600);
  before.write(before.all(), true);
  ScrollingScreen after = before;
  after.scroll(after.all(), 15, true);
  const auto* found = search(before, after);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->move.from, 15);
  expectRight(*found, before, after);
  EXPECT_EQ(count(found->rest), 50 * 38);

  after = before;
  after.scroll(after.all(), 16, true);
  found = search(before, after);
  ASSERT_NE(found, nullptr);
  expectRight(*found, before, after);
  EXPECT_LE(count(found->rest), 50 * 2);
}

TEST_F(ScrollSearchTest, WhatIsEmptyBeforeAndAfterStays) {
  constexpr Area kText{0, 0, 400, 600};
  ScrollingScreen before(800, 600);
  before.write(kText);
  ScrollingScreen after = before;
  after.scroll(kText, 32);
  const auto* found = search(before, after);
  ASSERT_NE(found, nullptr);
  expectRight(*found, before, after);
  for (int row = 0; row < before.blockRows(); ++row) {
    EXPECT_FALSE(before.has(found->move.moves, 40, row)) << row;
  }
}

TEST_F(ScrollSearchTest, TextThatRepeatsFurtherDownNamesTheDistanceAsWell) {
  // Every 320 rows.
  ScrollingScreen before(800, 1600);
  before.write({0, 0, 800, 320});
  BlockMove copy{-320, std::vector<uint8_t>(50 * 100, 0)};
  std::fill(copy.moves.begin() + 50 * 20, copy.moves.end(), uint8_t{1});
  for (int i = 0; i < 4; ++i) before = before.moved(copy);
  ScrollingScreen after = before;
  after.scroll(after.all(), 57);
  const auto* found = search(before, after);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->move.from, 57);
  expectRight(*found, before, after);
}

TEST_F(ScrollSearchTest, NothingIsFoundWhereNothingScrolls) {
  ScrollingScreen before(800, 600);
  before.write();
  EXPECT_EQ(search(before, before), nullptr) << "the same picture";
  ScrollingScreen after = before;
  after.write();
  EXPECT_EQ(search(before, after), nullptr) << "another one";
  after = before;
  after.write({100, 100, 300, 120});
  EXPECT_EQ(search(before, after), nullptr) << "a line of text";
  after = before;
  after.scroll(after.all(), BlockMove::kFarthest + 1);
  EXPECT_EQ(search(before, after), nullptr) << "further than can be said";
}

TEST_F(ScrollSearchTest, WhatTwoPagesHaveInCommonIsNoScroll) {
  constexpr Area kCommon{0, 96, 800, 240};
  ScrollingScreen before(800, 1200);
  before.write();
  ScrollingScreen after = before;
  after.scroll(after.all(), 48);
  after.write({0, 0, 800, kCommon.top});
  after.write({0, kCommon.bottom, 800, 1200});
  EXPECT_EQ(search(before, after), nullptr);
  after = before;
  after.scroll(after.all(), 48);
  after.write({0, 0, 800, kCommon.top});
  after.write({0, 3 * kCommon.bottom, 800, 1200});
  EXPECT_NE(search(before, after), nullptr);
}

TEST_F(ScrollSearchTest, AScrollThatIsTooSmallIsNotWorthAFrame) {
  ScrollingScreen before(800, 600);
  before.write();
  ScrollingScreen after = before;
  after.scroll({64, 64, 64 + 10 * kBlock, 64 + 10 * kBlock}, 16);
  EXPECT_EQ(search(before, after), nullptr);
  after = before;
  after.scroll({64, 64, 64 + 20 * kBlock, 64 + 20 * kBlock}, 16);
  EXPECT_NE(search(before, after), nullptr);
  EXPECT_EQ(search(before, after, {64, 64 + kBlock}), nullptr) << "too few rows to look at";
}

TEST_F(ScrollSearchTest, OddSizesAndFewRowsAreLookedAtToTheirEdges) {
  for (const auto& [width, height] :
       {std::pair{801, 481}, {1366, 768}, {321, 1999}, {3840, 2160}}) {
    SCOPED_TRACE(testing::Message() << width << "x" << height);
    ScrollingScreen before(width, height);
    before.write();
    ScrollingScreen after = before;
    after.scroll(after.all(), -34);
    const auto* found = search(before, after);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->move.from, -34);
    expectRight(*found, before, after);
  }
}

}  // namespace
}  // namespace tovalin
