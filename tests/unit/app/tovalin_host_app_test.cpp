#include "app/tovalin_host_app.h"

#include <gtest/gtest.h>

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

TEST_F(TovalinHostAppTest, MenuOpensThePairingWindowAndShowsTheStatus) {
  startApp();
  EXPECT_EQ(windows_.menu.status, "Waiting for a viewer…");
  windows_.menuActions.connectPhone();
  EXPECT_TRUE(windows_.pairingVisible);
}

}  // namespace
}  // namespace tovalin
