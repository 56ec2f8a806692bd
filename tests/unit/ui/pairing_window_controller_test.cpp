#include "ui/pairing_window_controller.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_windows.h"
#include "tests/unit/ui/fake_host.h"

namespace tovalin {
namespace {

using ::testing::ElementsAre;

class PairingWindowControllerTest : public ::testing::Test {
 protected:
  std::shared_ptr<fake::FakeHost> host_ = std::make_shared<fake::FakeHost>();
  fake::FakeWindows windows_;
  PairingWindowController pairing_{windows_};
};

TEST_F(PairingWindowControllerTest, EveryShowAsksForAFreshPinInTheSameWindow) {
  pairing_.show(host_);
  pairing_.close(*host_);
  pairing_.show(host_);
  EXPECT_EQ(windows_.pairingWindowsMade, 1);
  EXPECT_TRUE(windows_.pairingVisible);
  EXPECT_THAT(host_->calls, ElementsAre("startPairing", "endPairing", "startPairing"));
}

TEST_F(PairingWindowControllerTest, CloseButtonEndsPairingAndHides) {
  pairing_.show(host_);
  windows_.pairingActions.close();
  EXPECT_FALSE(windows_.pairingVisible);
  EXPECT_THAT(host_->calls, ElementsAre("startPairing", "endPairing"));
}

TEST_F(PairingWindowControllerTest, NewPinButtonStartsPairingAgain) {
  pairing_.show(host_);
  windows_.pairingActions.newPin();
  EXPECT_TRUE(windows_.pairingVisible);
  EXPECT_THAT(host_->calls, ElementsAre("startPairing", "startPairing"));
}

TEST_F(PairingWindowControllerTest, WindowFollowsThePublishedState) {
  pairing_.show(host_);
  EXPECT_EQ(windows_.pairing, PairingContent{});
  host_->pin = "123456";
  host_->changes.notify();
  EXPECT_EQ(windows_.pairing.pin, "123456");
  host_->pairedDevice = "Ada's phone";
  host_->changes.notify();
  EXPECT_EQ(windows_.pairing.pairedDevice, "Ada's phone");
}

TEST_F(PairingWindowControllerTest, ButtonsPressedAfterTheHostIsGoneDoNothing) {
  pairing_.show(host_);
  host_.reset();
  windows_.pairingActions.newPin();
  windows_.pairingActions.close();
  EXPECT_TRUE(windows_.pairingVisible);
}

}  // namespace
}  // namespace tovalin
