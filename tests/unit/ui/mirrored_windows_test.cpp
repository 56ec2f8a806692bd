#include "ui/mirrored_windows.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_windows.h"

namespace tovalin {
namespace {

class MirroredWindowsTest : public ::testing::Test {
 protected:
  // Owned by `windows_`.
  fake::FakeWindows* const first_ = new fake::FakeWindows;
  fake::FakeWindows* const second_ = new fake::FakeWindows;
  MirroredWindows windows_{std::unique_ptr<Windows>(first_), std::unique_ptr<Windows>(second_)};
};

TEST_F(MirroredWindowsTest, BothShowTheSame) {
  const auto menu = windows_.makeMenu({});
  menu->update({.status = "Waiting for a viewer…"});
  EXPECT_EQ(first_->menu.status, "Waiting for a viewer…");
  EXPECT_EQ(second_->menu, first_->menu);

  const auto pairing = windows_.makePairingWindow({});
  pairing->update({.pin = "123456"});
  pairing->orderFront();
  EXPECT_EQ(first_->pairing.pin, "123456");
  EXPECT_EQ(second_->pairing, first_->pairing);
  EXPECT_TRUE(first_->pairingVisible && second_->pairingVisible);
  pairing->orderOut();
  EXPECT_FALSE(first_->pairingVisible || second_->pairingVisible);

  auto indicator = windows_.makeIndicator({"text", "Disconnect"}, [] {});
  EXPECT_EQ(first_->indicatorsOnScreen + second_->indicatorsOnScreen, 2);
  indicator.reset();
  EXPECT_EQ(first_->indicatorsOnScreen + second_->indicatorsOnScreen, 0);
}

TEST_F(MirroredWindowsTest, APressInEitherCounts) {
  int presses = 0;
  const auto press = [&presses] { ++presses; };
  const auto menu = windows_.makeMenu({.reconnect = press});
  first_->menuActions.reconnect();
  second_->menuActions.reconnect();
  const auto pairing = windows_.makePairingWindow({.close = press});
  first_->pairingActions.close();
  second_->pairingActions.close();
  const auto indicator = windows_.makeIndicator({}, press);
  first_->pressDisconnect();
  second_->pressDisconnect();
  EXPECT_EQ(presses, 6);
}

TEST_F(MirroredWindowsTest, OneIconIsEnoughAndThePanelIsTheFirsts) {
  const auto menu = windows_.makeMenu({});
  first_->trayIconShown = false;
  EXPECT_TRUE(menu->hasTrayIcon());
  second_->trayIconShown = false;
  EXPECT_FALSE(menu->hasTrayIcon());
  menu->openPanel();
  EXPECT_EQ(first_->panelsOpened, 1);
  EXPECT_EQ(second_->panelsOpened, 0);
}

}  // namespace
}  // namespace tovalin
