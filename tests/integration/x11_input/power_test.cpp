#include "platform/x11/x11_power.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <thread>

#include "tests/integration/support/xvfb.h"
#include "tests/integration/x11_input/becomes_true.h"
#include "tests/integration/x11_input/screen_client.h"

namespace tovalin::test {
namespace {

class X11PowerTest : public testing::Test {
 protected:
  static constexpr std::string_view kName = "Tovalin viewer connected";

  AssertionId keepDisplayOn() {
    return power->createAssertion(kNoDisplaySleep, kAssertionLevelOn, kName);
  }
  bool screenSaverStarts() {
    return becomesTrue([this] { return screen.screenSaverIsOn(); });
  }
  // Whether the screen is still on after twice the time that starts the screen saver.
  bool screenStaysOn() {
    return becomesTrue([this] { return screen.idleMs() > 2'000; }) && !screen.screenSaverIsOn();
  }

  Xvfb server{"640x480x24"};
  ScreenClient screen{server.display()};
  std::unique_ptr<Power> power = makeX11Power(server.display());
};

TEST_F(X11PowerTest, DisplayAssertionHoldsTheScreenSaverUntilItsRelease) {
  const AssertionId id = keepDisplayOn();
  ASSERT_NE(id, 0u);
  screen.setScreenSaverTimeout(1);
  EXPECT_TRUE(screenStaysOn());
  power->releaseAssertion(id);
  EXPECT_TRUE(screenSaverStarts());
}

TEST_F(X11PowerTest, LastOfSeveralAssertionsLetsGo) {
  const AssertionId first = keepDisplayOn();
  const AssertionId second = keepDisplayOn();
  EXPECT_NE(first, second);
  power->releaseAssertion(first);
  power->releaseAssertion(first);
  screen.setScreenSaverTimeout(1);
  EXPECT_TRUE(screenStaysOn());
  power->releaseAssertion(second);
  EXPECT_TRUE(screenSaverStarts());
}

TEST_F(X11PowerTest, AssertionsEndWithTheirOwner) {
  ASSERT_NE(keepDisplayOn(), 0u);
  screen.setScreenSaverTimeout(1);
  power.reset();
  EXPECT_TRUE(screenSaverStarts());
}

TEST_F(X11PowerTest, OtherAssertionsAreNotOffered) {
  EXPECT_EQ(power->createAssertion(kNoIdleSleep, kAssertionLevelOn, kName), 0u);
  EXPECT_EQ(power->createAssertion("NoSuchAssertion", kAssertionLevelOn, kName), 0u);
  power->releaseAssertion(0);
}

TEST_F(X11PowerTest, ActivityEndsTheScreenSaverFromAnyThread) {
  screen.startScreenSaver();
  ASSERT_TRUE(screen.screenSaverIsOn());
  std::thread([this] { power->declareUserActivity(kName); }).join();
  EXPECT_TRUE(becomesTrue([this] { return !screen.screenSaverIsOn(); }));
}

TEST(X11PowerWithoutServerTest, NothingIsOfferedAndAssertionsOutliveAServer) {
  signal(SIGPIPE, SIG_IGN);
  const std::string display = ":" + std::to_string(2000 + getpid() % 50000);
  const auto power = makeX11Power(display);
  EXPECT_EQ(power->createAssertion(kNoDisplaySleep, kAssertionLevelOn, "x"), 0u);
  power->declareUserActivity("x");

  std::optional<Xvfb> server(std::in_place, "640x480x24", std::vector<std::string>{display});
  ASSERT_TRUE(becomesTrue(
      [&] { return power->createAssertion(kNoDisplaySleep, kAssertionLevelOn, "x") != 0; }));
  server->kill();
  server.reset();
  server.emplace("640x480x24", std::vector<std::string>{display});
  ScreenClient screen(display);
  screen.startScreenSaver();
  // Activity that gets through shows that the new server is known.
  ASSERT_TRUE(becomesTrue([&] {
    power->declareUserActivity("x");
    return !screen.screenSaverIsOn();
  }));
  screen.setScreenSaverTimeout(1);
  EXPECT_TRUE(becomesTrue([&] { return screen.idleMs() > 2'000; }));
  EXPECT_FALSE(screen.screenSaverIsOn());
}

}  // namespace
}  // namespace tovalin::test
