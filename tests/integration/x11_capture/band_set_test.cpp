#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/x11/x11_frame_bands.h"

namespace tovalin {
namespace {

BandSet setOf(std::initializer_list<RowBand> bands) {
  BandSet set;
  for (const RowBand band : bands) set.add(band);
  return set;
}

std::vector<RowBand> bandsOf(const BandSet& set) {
  return {set.bands().begin(), set.bands().end()};
}

using Bands = std::vector<RowBand>;

TEST(BandSetTest, KeepsBandsApartInAscendingOrder) {
  EXPECT_EQ(bandsOf(setOf({{30, 40}, {10, 20}})), (Bands{{10, 20}, {30, 40}}));
}

TEST(BandSetTest, MergesBandsThatOverlapTouchOrBridge) {
  const struct {
    BandSet set;
    Bands expected;
  } cases[] = {
      {setOf({{10, 20}, {15, 25}}), {{10, 25}}},
      {setOf({{10, 20}, {20, 25}}), {{10, 25}}},
      {setOf({{20, 25}, {10, 20}}), {{10, 25}}},
      {setOf({{10, 20}, {30, 40}, {50, 60}, {15, 50}}), {{10, 60}}},
      {setOf({{10, 40}, {20, 30}}), {{10, 40}}},
      {setOf({{20, 30}, {10, 40}}), {{10, 40}}},
  };
  for (const auto& each : cases) EXPECT_EQ(bandsOf(each.set), each.expected);
}

TEST(BandSetTest, IgnoresBandsWithoutRows) {
  BandSet set = setOf({{10, 20}, {15, 15}, {40, 30}});
  set.remove({12, 12});
  set.remove({18, 11});
  EXPECT_EQ(bandsOf(set), (Bands{{10, 20}}));
  EXPECT_TRUE(setOf({{5, 5}}).empty());
}

TEST(BandSetTest, RemovesTheMiddleTheEndsAndAll) {
  const struct {
    RowBand removed;
    Bands expected;
  } cases[] = {
      {{14, 16}, {{10, 14}, {16, 20}, {30, 40}}},
      {{0, 15}, {{15, 20}, {30, 40}}},
      {{15, 35}, {{10, 15}, {35, 40}}},
      {{10, 20}, {{30, 40}}},
      {{0, 100}, {}},
      {{20, 30}, {{10, 20}, {30, 40}}},
  };
  for (const auto& each : cases) {
    BandSet set = setOf({{10, 20}, {30, 40}});
    set.remove(each.removed);
    EXPECT_EQ(bandsOf(set), each.expected);
  }
}

TEST(BandSetTest, ClosesGapsUpToAWidth) {
  const BandSet set = setOf({{0, 10}, {14, 20}, {25, 30}});
  EXPECT_EQ(bandsOf(set.withGapsClosed(4)), (Bands{{0, 20}, {25, 30}}));
  EXPECT_EQ(bandsOf(set.withGapsClosed(5)), (Bands{{0, 30}}));
  EXPECT_EQ(bandsOf(set.withGapsClosed(0)), bandsOf(set));
  EXPECT_TRUE(BandSet().withGapsClosed(5).empty());
}

TEST(BandSetTest, AgreesWithASetOfRowsUnderAnySequenceOfChanges) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    BandSet set;
    std::vector<bool> rows(60, false);
    for (int change = 0; change < 20; ++change) {
      const int top = static_cast<int>(random() % 60);
      const int bottom = std::min(60, top + static_cast<int>(random() % 15));
      const bool adds = random() % 3 != 0;
      if (adds) {
        set.add({top, bottom});
      } else {
        set.remove({top, bottom});
      }
      for (int row = top; row < bottom; ++row) rows[static_cast<size_t>(row)] = adds;
    }
    std::vector<bool> covered(60, false);
    int last = -1;
    for (const RowBand band : set.bands()) {
      EXPECT_LT(last, band.top);
      EXPECT_LT(band.top, band.bottom);
      last = band.bottom;
      for (int row = band.top; row < band.bottom; ++row) covered[static_cast<size_t>(row)] = true;
    }
    EXPECT_EQ(covered, rows);
    EXPECT_EQ(set.rows(), std::count(rows.begin(), rows.end(), true));
  }
}

}  // namespace
}  // namespace tovalin
