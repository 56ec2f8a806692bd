#include "app/tovalin_host_app.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/unit/app/host_fixture.h"

namespace tovalin {
namespace {

class TovalinHostAppTest : public HostFixture {
 protected:
  void startApp() { app_ = std::make_unique<TovalinHostApp>(platform()); }

  std::unique_ptr<TovalinHostApp> app_;
};

TEST_F(TovalinHostAppTest, UnpairedHostOpensThePairingWindowOneAndAHalfSecondsAfterLaunch) {
  startApp();
  queue_.advance(1.49);
  EXPECT_FALSE(windows_.pairingVisible);
  queue_.advance(0.01);
  EXPECT_TRUE(windows_.pairingVisible);
  EXPECT_EQ(sentOfType("pairing-start").size(), 1U);
}

TEST_F(TovalinHostAppTest, HostThatHasPairedNeverOpensItAtLaunch) {
  defaults_.booleans["tovalin.hasPairedOnce"] = true;
  startApp();
  queue_.advance(60);
  EXPECT_FALSE(windows_.pairingVisible);
}

TEST_F(TovalinHostAppTest, CheckFindsNoControllerAfterTheAppIsGone) {
  startApp();
  app_.reset();
  queue_.advance(60);
  EXPECT_EQ(windows_.pairingWindowsMade, 0);
  EXPECT_EQ(HostControllerRegistry::shared.lock(), nullptr);
}

TEST_F(TovalinHostAppTest, EmptyRegistryAtTheCheckShowsNothingThenOrLater) {
  startApp();
  const auto registered = std::exchange(HostControllerRegistry::shared, {});
  queue_.advance(1.5);
  HostControllerRegistry::shared = registered;
  queue_.advance(60);
  EXPECT_FALSE(windows_.pairingVisible);
}

TEST_F(TovalinHostAppTest, StartingTheProgramAgainOpensThePanelForAsLongAsTheAppLives) {
  startApp();
  EXPECT_EQ(applications_.activationObservers(), 1);
  applications_.askedToShow();
  EXPECT_EQ(windows_.panelsOpened, 1);
  EXPECT_EQ(applications_.terminations, 0);
  app_.reset();
  EXPECT_EQ(applications_.activationObservers(), 0);
}

TEST_F(TovalinHostAppTest, MenuOpensThePairingWindowAndShowsTheStatus) {
  startApp();
  EXPECT_EQ(windows_.menu.status, "Waiting for a viewer…");
  windows_.menuActions.connectPhone();
  EXPECT_TRUE(windows_.pairingVisible);
}

TEST_F(TovalinHostAppTest, SecondCopyShowsNothing) {
  applications_.running = {100, 4711};
  windows_.trayIconShown = false;
  startApp();
  queue_.advance(60);
  EXPECT_TRUE(windows_.menu.status.empty());
  EXPECT_EQ(windows_.panelsOpened, 0);
  EXPECT_EQ(windows_.pairingWindowsMade, 0);
}

TEST_F(TovalinHostAppTest, WithoutATrayTheMenuPanelOpensAtLaunch) {
  windows_.trayIconShown = false;
  startApp();
  queue_.advance(4.99);
  EXPECT_EQ(windows_.panelsOpened, 0);
  queue_.advance(60);
  EXPECT_EQ(windows_.panelsOpened, 1);
}

TEST_F(TovalinHostAppTest, WithATrayThePanelStaysClosedAtLaunch) {
  windows_.trayIconShown = false;
  startApp();
  queue_.advance(1);
  windows_.trayIconShown = true;
  queue_.advance(60);
  EXPECT_EQ(windows_.panelsOpened, 0);
}

TEST_F(TovalinHostAppTest, PanelShowsAPermissionGrantedSinceTheLastPollAsSoonAsItOpens) {
  permissions_.trusted = false;
  startApp();
  permissions_.trusted = true;
  ASSERT_FALSE(windows_.menu.permissions.at(1).granted);
  windows_.menuActions.opened();
  EXPECT_TRUE(windows_.menu.permissions.at(1).granted);
}

TEST_F(TovalinHostAppTest, AddressEditedInThePanelIsUsedOnReconnect) {
  startApp();
  windows_.menuActions.editServerURL("wss://other.example/signal");
  EXPECT_EQ(windows_.menu.serverURL, "wss://other.example/signal");
  EXPECT_EQ(connectedUrl(), kTestServerUrl);
  windows_.menuActions.reconnect();
  EXPECT_EQ(connectedUrl(), "wss://other.example/signal");
}

TEST_F(TovalinHostAppTest, PairingWindowGoesFromThePermissionsThroughThePinToTheDevice) {
  permissions_.trusted = false;
  startApp();
  queue_.advance(1.5);
  EXPECT_EQ(windows_.pairing.step, PairingStep::permissions);
  permissions_.trusted = true;
  queue_.advance(2);
  EXPECT_EQ(windows_.pairing.step, PairingStep::connect);
  serverSays({{"type", "pairing-pin"}, {"pin", "123456"}, {"token", "TOKEN"}});
  EXPECT_EQ(windows_.pairing.pinText, "1  2  3  4  5  6");
  serverSays({{"type", "device-paired"}, {"deviceName", "Ada's phone"}});
  EXPECT_EQ(windows_.pairing.step, PairingStep::done);
  EXPECT_EQ(windows_.pairing.title, "Ada's phone is connected");
}

TEST_F(TovalinHostAppTest, ControllerHasEndedWhenTheAppHasEvenIfAPictureHeldItMeanwhile) {
  startApp();
  registerHost();
  viewerConnects();
  const std::weak_ptr<HostController> controller = HostControllerRegistry::shared;
  std::promise<void> held;
  std::atomic<bool> tooLate = false;
  // A picture that is on its way until the visit has been ended under it.
  std::thread picture([&] {
    const auto hold = controller.lock();
    held.set_value();
    while (!sessionClosed(0) && !tooLate) std::this_thread::yield();
  });
  held.get_future().wait();
  app_.reset();
  EXPECT_TRUE(controller.expired());
  tooLate = true;
  picture.join();
}

}  // namespace
}  // namespace tovalin
