#include "platform/x11/x11_pixel_format.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tovalin {
namespace {

constexpr int kTrueColor = 4;

PixelLayout layoutOf(int depth, int bits, uint32_t red, uint32_t green, uint32_t blue) {
  return {depth, bits, 32, red, green, blue, kTrueColor, false};
}

const PixelLayout kBgrx = layoutOf(24, 32, 0xff0000, 0xff00, 0xff);
const PixelLayout k565 = layoutOf(16, 16, 0xf800, 0x07e0, 0x1f);
const PixelLayout k555 = layoutOf(15, 16, 0x7c00, 0x03e0, 0x1f);
const PixelLayout kDeep = layoutOf(30, 32, 0x3ff00000, 0xffc00, 0x3ff);
const PixelLayout kReversed = layoutOf(24, 32, 0xff, 0xff00, 0xff0000);
const PixelLayout kPacked = layoutOf(24, 24, 0xff0000, 0xff00, 0xff);

uint32_t converted(const PixelLayout& layout, uint32_t pixel) {
  uint8_t from[4];
  std::memcpy(from, &pixel, sizeof from);
  uint32_t bgra = 0;
  uint8_t to[4];
  PixelConverter(layout).convertRow(from, to, 1);
  std::memcpy(&bgra, to, sizeof bgra);
  return bgra & 0xffffff;
}

TEST(PixelFormatTest, OnlyTheNativeLayoutNeedsNoConversion) {
  EXPECT_TRUE(kBgrx.isBgra());
  for (const PixelLayout& other : {k565, k555, kDeep, kReversed, kPacked}) {
    EXPECT_FALSE(other.isBgra());
  }
}

TEST(PixelFormatTest, ConvertsByTheMasks) {
  const struct {
    PixelLayout layout;
    uint32_t pixel;
    uint32_t rgb;
  } cases[] = {
      {k565, 0xffff, 0xffffff},      {k565, 0x0000, 0x000000},      {k565, 0xf800, 0xff0000},
      {k565, 0x07e0, 0x00ff00},      {k565, 0x001f, 0x0000ff},      {k565, 0x0400, 0x008200},
      {k555, 0x7fff, 0xffffff},      {k555, 0x7c00, 0xff0000},      {k555, 0x8000, 0x000000},
      {kDeep, 0x3fffffff, 0xffffff}, {kDeep, 0x3ff00000, 0xff0000}, {kDeep, 0x000ffc00, 0x00ff00},
      {kDeep, 0x000003ff, 0x0000ff}, {kDeep, 0x00000203, 0x000080}, {kReversed, 0x112233, 0x332211},
      {kPacked, 0x112233, 0x112233},
  };
  for (const auto& each : cases) EXPECT_EQ(converted(each.layout, each.pixel), each.rgb);
}

TEST(PixelFormatTest, ConvertsARowPixelByPixel) {
  const uint8_t packed[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  uint8_t bgra[12];
  PixelConverter(kPacked).convertRow(packed, bgra, 3);
  const uint8_t expected[] = {1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255};
  EXPECT_EQ(std::memcmp(bgra, expected, sizeof expected), 0);
}

TEST(PixelFormatTest, RowsArePaddedAsTheServerDoes) {
  EXPECT_EQ(k565.stride(800), 1600);
  EXPECT_EQ(k565.stride(801), 1604);
  EXPECT_EQ(kBgrx.stride(801), 3204);
  EXPECT_EQ(kPacked.stride(3), 12);
}

TEST(PixelFormatTest, SaysWhatIsWrongWithWhatCannotBeRead) {
  PixelLayout pseudo = layoutOf(8, 8, 0, 0, 0);
  pseudo.visualClass = 3;
  PixelLayout direct = kBgrx;
  direct.visualClass = 5;
  PixelLayout reversed = kBgrx;
  reversed.mostSignificantByteFirst = true;
  PixelLayout strange = kBgrx;
  strange.visualClass = 77;
  const struct {
    PixelLayout layout;
    const char* description;
  } cases[] = {
      {pseudo,
       "the screen's visual is 8-bit pseudo-color; 16, 24 or 30 bits of true color are needed"},
      {direct,
       "the screen's visual is 24-bit direct-color; 16, 24 or 30 bits of true color are needed"},
      {strange,
       "the screen's visual is 24-bit unknown; 16, 24 or 30 bits of true color are needed"},
      {layoutOf(8, 8, 0xe0, 0x1c, 3),
       "the screen's visual is 8-bit true-color; 16, 24 or 30 bits of true color are needed"},
      {reversed, "the X server keeps pixels most significant byte first; only the reverse is read"},
  };
  for (const auto& each : cases) {
    const auto error = whyUnsupported(each.layout);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, each.description);
  }
  for (const PixelLayout& layout : {kBgrx, k565, k555, kDeep, kReversed, kPacked}) {
    EXPECT_FALSE(whyUnsupported(layout));
  }
}

}  // namespace
}  // namespace tovalin
