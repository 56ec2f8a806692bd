#include "platform/panel_placement.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tovalin {

// Found by GoogleTest.
static std::ostream& operator<<(std::ostream& out, const PanelOrigin& origin) {
  return out << origin.x << "," << origin.y;
}

namespace {

constexpr PanelArea kScreen{0, 0, 1920, 1080};
constexpr PanelSize kPanel{260, 300};

TEST(PanelPlacementTest, IndicatorIsAtTheTopCentreOfTheWholeScreen) {
  EXPECT_EQ(indicatorOrigin(kScreen, {300, 32}), (PanelOrigin{810, 8}));
  EXPECT_EQ(indicatorOrigin(PanelArea{1920, 200, 1000, 800}, {300, 32}), (PanelOrigin{2270, 208}));
}

TEST(PanelPlacementTest, IndicatorIsAtTheOriginWithoutAScreen) {
  EXPECT_EQ(indicatorOrigin(std::nullopt, {300, 32}), (PanelOrigin{0, 0}));
}

TEST(PanelPlacementTest, MenuPanelHangsCentredBelowAnIconInABarAtTheTop) {
  EXPECT_EQ(menuPanelOrigin(kScreen, PanelArea{1000, 0, 24, 24}, kPanel), (PanelOrigin{882, 30}));
}

TEST(PanelPlacementTest, MenuPanelStandsAboveAnIconInABarAtTheBottom) {
  EXPECT_EQ(menuPanelOrigin(kScreen, PanelArea{1000, 1050, 24, 24}, kPanel),
            (PanelOrigin{882, 744}));
}

TEST(PanelPlacementTest, MenuPanelStandsBesideAnIconInABarAtASide) {
  EXPECT_EQ(menuPanelOrigin(kScreen, PanelArea{0, 500, 24, 24}, kPanel), (PanelOrigin{30, 362}));
  EXPECT_EQ(menuPanelOrigin(kScreen, PanelArea{1896, 500, 24, 24}, kPanel),
            (PanelOrigin{1630, 362}));
}

TEST(PanelPlacementTest, MenuPanelStaysOnTheScreenNextToAnIconInTheCorner) {
  EXPECT_EQ(menuPanelOrigin(kScreen, PanelArea{1890, 0, 24, 24}, kPanel), (PanelOrigin{1654, 30}));
  EXPECT_EQ(menuPanelOrigin(kScreen, PanelArea{1890, 1056, 24, 24}, kPanel),
            (PanelOrigin{1654, 750}));
}

TEST(PanelPlacementTest, MenuPanelIsInTheTopRightCornerWithoutAnIcon) {
  EXPECT_EQ(menuPanelOrigin(kScreen, std::nullopt, kPanel), (PanelOrigin{1654, 6}));
}

TEST(PanelPlacementTest, APanelLargerThanTheScreenKeepsItsTopLeftCornerVisible) {
  EXPECT_EQ(menuPanelOrigin({0, 0, 200, 200}, PanelArea{100, 0, 24, 24}, kPanel),
            (PanelOrigin{6, 6}));
}

}  // namespace
}  // namespace tovalin
