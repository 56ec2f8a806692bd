#include "ui/connection_indicator.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_windows.h"

namespace tovalin {
namespace {

class ConnectionIndicatorTest : public ::testing::Test {
 protected:
  fake::FakeWindows windows_;
  ConnectionIndicator indicator_{windows_};
};

TEST_F(ConnectionIndicatorTest, ShownTwiceIsOnePanelThatRunsTheFirstAction) {
  int first = 0;
  int second = 0;
  indicator_.show([&] { ++first; });
  indicator_.show([&] { ++second; });
  EXPECT_EQ(windows_.indicatorsOnScreen, 1);
  EXPECT_EQ(windows_.indicator,
            (IndicatorContent{"Someone is controlling this Mac", "Disconnect"}));
  windows_.pressDisconnect();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
}

TEST_F(ConnectionIndicatorTest, HiddenWithoutAPanelDoesNothing) {
  indicator_.hide();
  EXPECT_EQ(windows_.indicatorsMade, 0);
}

TEST_F(ConnectionIndicatorTest, ShownAgainAfterHidingIsANewPanelWithTheNewAction) {
  int second = 0;
  indicator_.show([] {});
  indicator_.hide();
  EXPECT_EQ(windows_.indicatorsOnScreen, 0);
  indicator_.show([&] { ++second; });
  EXPECT_EQ(windows_.indicatorsMade, 2);
  windows_.pressDisconnect();
  EXPECT_EQ(second, 1);
}

}  // namespace
}  // namespace tovalin
