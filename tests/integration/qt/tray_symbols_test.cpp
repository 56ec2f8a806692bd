#include "platform/qt/tray_symbols.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tovalin {
namespace {

constexpr uint32_t alphaOf(uint32_t pixel) {
  return pixel >> 24;
}

// Every symbol that the menu's icon may have.
class TraySymbolTest : public testing::TestWithParam<const char*> {};

TEST_P(TraySymbolTest, IsDrawnInEverySize) {
  for (const int size : {1, 16, 18, 22, 24, 32, 40, 48, 64, 256}) {
    const auto picture = drawTraySymbol(GetParam(), size);
    ASSERT_EQ(picture.size, size);
    ASSERT_EQ(picture.pixels.size(), static_cast<size_t>(size * size));
    if (size < 16) continue;
    const auto count = [&](auto matches) {
      return std::count_if(picture.pixels.begin(), picture.pixels.end(), matches);
    };
    EXPECT_GT(count([](uint32_t pixel) { return alphaOf(pixel) > 0x80; }), size * size / 20)
        << size;
    EXPECT_EQ(alphaOf(picture.pixels.front()), 0u) << size;
  }
}

TEST_P(TraySymbolTest, KeepsItsColoursInEverySize) {
  const auto small = drawTraySymbol(GetParam(), 16);
  const auto large = drawTraySymbol(GetParam(), 32 * 3);
  const auto colours = [](const IconPicture& picture) {
    std::vector<uint32_t> opaque;
    for (const uint32_t pixel : picture.pixels) {
      if (alphaOf(pixel) == 0xff) opaque.push_back(pixel);
    }
    std::sort(opaque.begin(), opaque.end());
    opaque.erase(std::unique(opaque.begin(), opaque.end()), opaque.end());
    return opaque;
  };
  std::vector<uint32_t> common;
  const auto ofSmall = colours(small);
  const auto ofLarge = colours(large);
  std::set_intersection(ofSmall.begin(), ofSmall.end(), ofLarge.begin(), ofLarge.end(),
                        std::back_inserter(common));
  EXPECT_FALSE(common.empty());
}

INSTANTIATE_TEST_SUITE_P(All, TraySymbolTest,
                         testing::Values("exclamationmark.triangle",
                                         "dot.radiowaves.left.and.right",
                                         "rectangle.on.rectangle"));

TEST(TraySymbolsTest, MultiplesOfTheDrawnSizesHaveTheirEdgesOnWholePixels) {
  for (const int size : {16, 22, 24, 32, 44, 48, 64, 66, 72, 96}) {
    const auto picture = drawTraySymbol("rectangle.on.rectangle", size);
    const auto middle = picture.pixels.begin() + size / 2 * size;
    EXPECT_TRUE(std::all_of(middle, middle + size, [](uint32_t pixel) {
      return alphaOf(pixel) == 0 || alphaOf(pixel) == 0xff;
    })) << size;
  }
}

TEST(TraySymbolsTest, TheThreeDiffer) {
  const auto warning = drawTraySymbol("exclamationmark.triangle", 22);
  const auto connected = drawTraySymbol("dot.radiowaves.left.and.right", 22);
  const auto waiting = drawTraySymbol("rectangle.on.rectangle", 22);
  EXPECT_NE(warning, connected);
  EXPECT_NE(warning, waiting);
  EXPECT_NE(connected, waiting);
}

TEST(TraySymbolsTest, AnUnknownNameOrNoSizeGivesNothing) {
  EXPECT_EQ(drawTraySymbol("no.such.symbol", 24), IconPicture{});
  EXPECT_EQ(drawTraySymbol("", 24), IconPicture{});
  EXPECT_EQ(drawTraySymbol("rectangle.on.rectangle", 0), IconPicture{});
  EXPECT_EQ(drawTraySymbol("rectangle.on.rectangle", -1), IconPicture{});
}

}  // namespace
}  // namespace tovalin
