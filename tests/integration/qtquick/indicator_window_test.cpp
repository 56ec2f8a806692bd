#include <gtest/gtest.h>

#include <optional>

#include "tests/integration/qtquick/desktop_fixture.h"

namespace tovalin::test {
namespace {

const IndicatorContent kContent{"Someone is controlling this Mac", "Disconnect"};
constexpr uint32_t kBlue = 0x0000FF;
constexpr uint32_t kGreen = 0x00FF00;

bool isRed(uint32_t pixel) {
  const int red = static_cast<int>(pixel >> 16);
  const int green = static_cast<int>((pixel >> 8) & 0xFF);
  const int blue = static_cast<int>(pixel & 0xFF);
  return red > 150 && green < 110 && blue < 110;
}

struct Box {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  int middleX() const { return (left + right) / 2; }
  int middleY() const { return (top + bottom) / 2; }
};

class IndicatorWindowTest : public DesktopFixture {
 protected:
  void show() {
    indicator_ = windows_->makeIndicator(kContent, [this] { ++presses_; });
    ASSERT_TRUE(becomesTrue([this] { return onScreen().has_value(); }));
  }

  // Where the button is on the X server's screen: the red that is wider than the dot.
  std::optional<Box> onScreen() const {
    const Screenshot shot = client_.screenshot();
    std::optional<Box> box;
    for (int y = 0; y < shot.height; ++y) {
      for (int x = 0; x + 12 < shot.width; ++x) {
        if (!isRed(shot.at(x, y)) || !isRed(shot.at(x + 12, y))) continue;
        if (!box) box = Box{x, y, x, y};
        box->left = std::min(box->left, x);
        box->right = std::max(box->right, x + 12);
        box->bottom = y;
      }
    }
    return box;
  }

  xcb_window_t fullScreenWindow() {
    const auto window = client_.openWindow(kBlue, true);
    EXPECT_TRUE(becomesTrue([&] {
      return client_.activeWindow() == window && client_.screenshot().at(5, 400) == kBlue;
    }));
    return window;
  }

  std::unique_ptr<IndicatorPanel> indicator_;
  int presses_ = 0;
};

TEST_F(IndicatorWindowTest, IsAtTheTopCentreEightPixelsBelowTheEdge) {
  show();
  const Screenshot shot = client_.screenshot();
  // The desktop is black, the pill light.
  EXPECT_EQ(shot.at(640, 7), 0U);
  EXPECT_NE(shot.at(640, 9), 0U);
  int left = 640;
  int right = 640;
  const int y = 8 + 15;
  while (left > 0 && shot.at(left - 1, y) != 0) --left;
  while (right < 1279 && shot.at(right + 1, y) != 0) ++right;
  EXPECT_NEAR(left - 0, 1279 - right, 1);
}

TEST_F(IndicatorWindowTest, StaysAboveAWindowThatGoesFullScreenLater) {
  show();
  fullScreenWindow();
  EXPECT_TRUE(becomesTrue([this] { return onScreen().has_value(); }));
}

TEST_F(IndicatorWindowTest, IsSeenOverAFullScreenWindowThatWasThereBefore) {
  fullScreenWindow();
  show();
  EXPECT_TRUE(onScreen());
}

TEST_F(IndicatorWindowTest, ComesUpAgainOverAWindowThatPutsItselfOnTop) {
  show();
  client_.openOnTop(kGreen);
  ASSERT_TRUE(becomesTrue([this] { return client_.screenshot().at(5, 400) == kGreen; }));
  EXPECT_TRUE(becomesTrue([this] { return onScreen().has_value(); }));
}

TEST_F(IndicatorWindowTest, IsThereOnEveryWorkspace) {
  show();
  for (const uint32_t workspace : {1U, 2U, 0U}) {
    client_.switchToWorkspace(workspace);
    ASSERT_TRUE(becomesTrue([&] { return client_.workspace() == workspace; }));
    EXPECT_TRUE(onScreen()) << workspace;
  }
}

TEST_F(IndicatorWindowTest, AClickOnDisconnectRunsTheActionAndLeavesTheFocusWhereItWas) {
  const auto window = fullScreenWindow();
  show();
  const auto focus = client_.focus();
  const auto button = onScreen();
  ASSERT_TRUE(button);
  client_.click(button->middleX(), button->middleY());
  EXPECT_TRUE(becomesTrue([this] { return presses_ == 1; }));
  EXPECT_EQ(client_.focus(), focus);
  EXPECT_EQ(client_.activeWindow(), window);
}

TEST_F(IndicatorWindowTest, ThePressMayTakeTheWindowDown) {
  indicator_ = windows_->makeIndicator(kContent, [this] {
    indicator_.reset();
    ++presses_;
  });
  ASSERT_TRUE(becomesTrue([this] { return onScreen().has_value(); }));
  client_.click(onScreen()->middleX(), onScreen()->middleY());
  EXPECT_TRUE(becomesTrue([this] { return presses_ == 1 && !onScreen(); }));
}

TEST_F(IndicatorWindowTest, APressThatSlidesOffTheButtonDoesNothing) {
  show();
  const Box button = onScreen().value();
  client_.movePointer(button.middleX(), button.middleY());
  client_.pressButton(true);
  client_.movePointer(640, 400);
  client_.pressButton(false);
  // A second, whole click has been heard: so the first has been, too.
  client_.click(button.middleX(), button.middleY());
  EXPECT_TRUE(becomesTrue([this] { return presses_ > 0; }));
  EXPECT_EQ(presses_, 1);
}

TEST_F(IndicatorWindowTest, CanBeDraggedByItsBackgroundAndComesBackToItsPlaceWithTheNextVisit) {
  show();
  const Box before = onScreen().value();
  const int grip = before.left - 20;
  client_.movePointer(grip, before.middleY());
  client_.pressButton(true);
  client_.movePointer(grip - 100, before.middleY() + 50);
  client_.movePointer(grip - 200, before.middleY() + 100);
  client_.pressButton(false);
  EXPECT_TRUE(becomesTrue([&] {
    const auto now = onScreen();
    return now && now->left == before.left - 200 && now->top == before.top + 100;
  }));
  EXPECT_EQ(presses_, 0);

  indicator_.reset();
  ASSERT_TRUE(becomesTrue([this] { return !onScreen(); }));
  show();
  EXPECT_EQ(onScreen()->left, before.left);
  EXPECT_EQ(onScreen()->top, before.top);
}

TEST_F(IndicatorWindowTest, IsGoneWhenItIsDestroyed) {
  show();
  indicator_.reset();
  EXPECT_TRUE(becomesTrue([this] { return !onScreen(); }));
}

}  // namespace
}  // namespace tovalin::test
