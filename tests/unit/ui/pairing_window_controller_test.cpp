#include "ui/pairing_window_controller.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_system.h"
#include "tests/fakes/fake_text.h"
#include "tests/fakes/fake_windows.h"
#include "tests/unit/ui/fake_host.h"

namespace tovalin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PairingWindowControllerTest : public ::testing::Test {
 protected:
  void change(const std::function<void(fake::FakeHost&)>& what) {
    what(*host_);
    host_->changes.notify();
  }
  void pinArrives(const std::string& pin, const std::string& token) {
    change([&](auto& host) {
      host.pin = pin;
      host.token = token;
    });
  }
  const PairingContent& shown() const { return windows_.pairing; }

  std::shared_ptr<fake::FakeHost> host_ = std::make_shared<fake::FakeHost>();
  fake::FakeWindows windows_;
  fake::FakeUrlParser urls_;
  fake::FakeQrCodeGenerator qrCodes_;
  fake::FakeTextSegmenter text_;
  fake::FakeHostInfo info_;
  PairingWindowController pairing_{{windows_, urls_, qrCodes_, text_, info_}};
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

TEST_F(PairingWindowControllerTest, NewPinButtonStartsPairingAgainInTheOpenWindow) {
  pairing_.show(host_);
  pinArrives("123456", "one");
  windows_.pairingActions.newPin();
  pinArrives("654321", "two");
  EXPECT_TRUE(windows_.pairingVisible);
  EXPECT_EQ(shown().pinText, "6  5  4  3  2  1");
  EXPECT_THAT(host_->calls, ElementsAre("startPairing", "startPairing"));
}

TEST_F(PairingWindowControllerTest, WithoutBothPermissionsItAsksForThem) {
  host_->screenGranted = false;
  host_->inputGranted = false;
  pairing_.show(host_);
  EXPECT_EQ(shown(),
            (PairingContent{
                .step = PairingStep::permissions,
                .symbol = "laptopcomputer.and.iphone",
                .title = "Let's connect this Mac",
                .subtitle = "Tovalin needs two permissions — macOS will ask just once.",
                .permissions = {{Permission::screenRecording, false, "circle", "Screen Recording",
                                 "so Tovalin can show this Mac on your phone", "Allow…"},
                                {Permission::accessibility, false, "circle", "Accessibility",
                                 "so you can click and type from your phone", "Allow…"}},
                .footnote = "Tovalin notices the moment you allow each one.",
                .close = "Close"}));
  windows_.pairingActions.allow(Permission::screenRecording);
  windows_.pairingActions.allow(Permission::accessibility);
  EXPECT_THAT(host_->calls,
              ElementsAre("startPairing", "requestScreenPermission", "requestInputPermission"));
}

TEST_F(PairingWindowControllerTest, OnePermissionGrantedKeepsTheStepAndDropsItsButton) {
  host_->screenGranted = false;
  host_->inputGranted = false;
  pairing_.show(host_);
  change([](auto& host) { host.screenGranted = true; });
  EXPECT_EQ(shown().step, PairingStep::permissions);
  EXPECT_EQ(shown().permissions.at(0).symbol, "checkmark.circle.fill");
  EXPECT_EQ(shown().permissions.at(0).allow, "");
  EXPECT_EQ(shown().permissions.at(0).reason, "so Tovalin can show this Mac on your phone");
  EXPECT_EQ(shown().permissions.at(1).allow, "Allow…");
}

TEST_F(PairingWindowControllerTest, WithBothPermissionsItWaitsForThePin) {
  pairing_.show(host_);
  EXPECT_EQ(shown(),
            (PairingContent{
                .step = PairingStep::connect,
                .symbol = "laptopcomputer.and.iphone",
                .title = "Connect your phone",
                .subtitle = "Open Tovalin on your iPhone and scan this code — or type the PIN.",
                .waiting = "Getting your PIN…",
                .newPin = "New PIN",
                .close = "Close"}));
  EXPECT_THAT(qrCodes_.texts, IsEmpty());
}

TEST_F(PairingWindowControllerTest, PinComesWithItsCodeAndItsFootnote) {
  info_.name = "Ada's Mac mini";
  pairing_.show(host_);
  pinArrives("123456", "TOKEN");
  EXPECT_EQ(shown().waiting, "");
  EXPECT_EQ(shown().pin, "123456");
  EXPECT_EQ(shown().pinText, "1  2  3  4  5  6");
  EXPECT_EQ(shown().footnote, "This PIN works once and expires in 10 minutes.");
  EXPECT_TRUE(shown().qrCode);
  EXPECT_THAT(qrCodes_.texts,
              ElementsAre("tovalin://pair?host=HOST&token=TOKEN&name=Ada%27s%20Mac%20mini"));
}

TEST_F(PairingWindowControllerTest, NamelessComputerIsCalledMacAndAnAbsentTokenIsEmpty) {
  info_.name = std::nullopt;
  pairing_.show(host_);
  change([](auto& host) { host.pin = "1"; });
  EXPECT_THAT(qrCodes_.texts, ElementsAre("tovalin://pair?host=HOST&token=&name=Mac"));
}

TEST_F(PairingWindowControllerTest, PinIsShownEvenWhenNoCodeCanBeMade) {
  qrCodes_.fits = false;
  pairing_.show(host_);
  pinArrives("123456", "TOKEN");
  EXPECT_EQ(shown().pinText, "1  2  3  4  5  6");
  EXPECT_FALSE(shown().qrCode);
}

TEST_F(PairingWindowControllerTest, PairedDeviceEndsInTheConfirmation) {
  pairing_.show(host_);
  change([](auto& host) { host.pairedDevice = "Ada's phone"; });
  EXPECT_EQ(shown(),
            (PairingContent{
                .step = PairingStep::done,
                .symbol = "checkmark.circle.fill",
                .title = "Ada's phone is connected",
                .subtitle = "This Mac is ready. You can now see and control it from your phone.",
                .close = "Done",
                .closeIsDefault = true}));
}

TEST_F(PairingWindowControllerTest, ConfirmationOutranksMissingPermissions) {
  host_->screenGranted = false;
  pairing_.show(host_);
  change([](auto& host) { host.pairedDevice = "Ada's phone"; });
  EXPECT_EQ(shown().step, PairingStep::done);
}

TEST_F(PairingWindowControllerTest, ButtonsPressedAfterTheHostIsGoneDoNothing) {
  pairing_.show(host_);
  host_.reset();
  windows_.pairingActions.newPin();
  windows_.pairingActions.allow(Permission::accessibility);
  windows_.pairingActions.close();
  EXPECT_TRUE(windows_.pairingVisible);
}

}  // namespace
}  // namespace tovalin
