#include <gtest/gtest.h>

#include <cstring>

#include "platform/x11/x11_frame_cursor.h"

namespace tovalin {
namespace {

// A small picture on which each pixel has a value of its own.
class CursorDrawingTest : public testing::Test {
 protected:
  static constexpr int kSize = 8;

  CursorDrawingTest() : words_(kSize * kSize) {
    for (size_t index = 0; index < words_.size(); ++index) {
      words_[index] = 0x01010101U * static_cast<uint32_t>(index);
    }
    original_ = words_;
    canvas_ = {reinterpret_cast<uint8_t*>(words_.data()), kSize * 4, kSize, kSize};
  }

  static PlacedCursor cursorAt(int left, int top, uint32_t argb, int size = 3) {
    auto shape = std::make_shared<CursorShape>();
    shape->width = size;
    shape->height = size;
    shape->pixels.assign(static_cast<size_t>(size * size), argb);
    return {shape, left, top};
  }

  uint32_t& at(int x, int y) { return words_[static_cast<size_t>(y * kSize + x)]; }

  std::vector<uint32_t> words_;
  std::vector<uint32_t> original_;
  PixelCanvas canvas_;
  CoveredPixels covered_;
};

TEST_F(CursorDrawingTest, OpaquePixelsReplaceAndClearOnesKeep) {
  covered_.drawOver(canvas_, cursorAt(2, 3, 0xff112233));
  EXPECT_EQ(at(2, 3) & 0xffffff, 0x112233U);
  EXPECT_EQ(at(4, 5) & 0xffffff, 0x112233U);
  EXPECT_EQ(at(1, 3), original_[25]);
  EXPECT_EQ(at(5, 5), original_[45]);
  covered_.restore(canvas_);
  covered_.drawOver(canvas_, cursorAt(2, 3, 0));
  EXPECT_EQ(words_, original_);
}

TEST_F(CursorDrawingTest, TranslucentPixelsAreMixed) {
  at(0, 0) = 0x00c86400;
  covered_.drawOver(canvas_, cursorAt(0, 0, 0x80400080, 1));
  EXPECT_EQ(at(0, 0) & 0xffffff, 0xa43280U);  // 0x40 + 200 * 127 / 255, and so on
}

TEST_F(CursorDrawingTest, RestoringBringsThePictureBackWhereverTheCursorWas) {
  for (int top = -4; top <= kSize + 1; ++top) {
    for (int left = -4; left <= kSize + 1; ++left) {
      covered_.drawOver(canvas_, cursorAt(left, top, 0xffffffff));
      covered_.restore(canvas_);
      ASSERT_EQ(words_, original_) << left << ", " << top;
    }
  }
}

TEST_F(CursorDrawingTest, RestoringTwiceChangesNothingMore) {
  covered_.drawOver(canvas_, cursorAt(1, 1, 0xffffffff));
  covered_.restore(canvas_);
  at(1, 1) = 7;
  covered_.restore(canvas_);
  EXPECT_EQ(at(1, 1), 7U);
}

TEST_F(CursorDrawingTest, TheRowsOfACursorAreClippedToThePicture) {
  const struct {
    int left, top;
    RowBand rows;
  } cases[] = {
      {2, 3, {3, 6}},  {2, -1, {0, 2}}, {2, 6, {6, 8}},  {2, 8, {0, 0}},
      {2, -3, {0, 0}}, {8, 2, {0, 0}},  {-3, 2, {0, 0}}, {-2, 2, {2, 5}},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(rowsOf(cursorAt(each.left, each.top, ~0U), kSize, kSize), each.rows);
  }
  EXPECT_EQ(rowsOf(PlacedCursor{}, kSize, kSize), RowBand{});
}

TEST_F(CursorDrawingTest, RowsAreComparedAsTheyWereWithoutTheCursor) {
  covered_.drawOver(canvas_, cursorAt(2, 3, 0xffffffff));
  std::vector<uint32_t> other = original_;
  const PixelCanvas clean{reinterpret_cast<uint8_t*>(other.data()), kSize * 4, kSize, kSize};
  for (int row = 0; row < kSize; ++row) EXPECT_TRUE(covered_.rowEquals(canvas_, clean, row));
  for (int row = 0; row < kSize; ++row) {
    for (int x = 0; x < kSize; ++x) {
      uint32_t& word = other[static_cast<size_t>(row * kSize + x)];
      word ^= 1;
      EXPECT_FALSE(covered_.rowEquals(canvas_, clean, row)) << x << ", " << row;
      word ^= 1;
    }
  }
}

TEST_F(CursorDrawingTest, TwoPlacesAreEqualOnlyWithTheSameShape) {
  const PlacedCursor cursor = cursorAt(1, 2, 0xff000000);
  PlacedCursor moved = cursor;
  moved.left = 2;
  EXPECT_EQ(cursor, PlacedCursor(cursor));
  EXPECT_NE(cursor, moved);
  EXPECT_NE(cursor, cursorAt(1, 2, 0xff000000));
}

}  // namespace
}  // namespace tovalin
