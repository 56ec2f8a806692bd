#include "platform/x11/x11_login_session.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "platform/x11/x11_power.h"
#include "tests/integration/support/xvfb.h"
#include "tests/integration/x11_input/becomes_true.h"
#include "tests/integration/x11_input/screen_client.h"

namespace tovalin::test {
namespace {

using nlohmann::json;

class X11LoginSessionTest : public testing::Test {
 protected:
  // An answer may be one question late.
  bool becomes(const std::optional<json>& dictionary) {
    return becomesTrue([&] { return session->currentDictionary() == dictionary; });
  }

  Xvfb server{"640x480x24"};
  std::unique_ptr<LoginSession> session = makeX11LoginSession(server.display());
};

TEST_F(X11LoginSessionTest, ScreenIsLockedWhileTheScreenSaverIsOn) {
  EXPECT_TRUE(becomes(json{{"CGSSessionScreenIsLocked", false}}));
  ScreenClient(server.display()).startScreenSaver();
  EXPECT_TRUE(becomes(json{{"CGSSessionScreenIsLocked", true}}));
  makeX11Power(server.display())->declareUserActivity("a key");
  EXPECT_TRUE(becomes(json{{"CGSSessionScreenIsLocked", false}}));
}

TEST_F(X11LoginSessionTest, NoServerMeansNoSession) {
  signal(SIGPIPE, SIG_IGN);
  EXPECT_TRUE(becomes(json{{"CGSSessionScreenIsLocked", false}}));
  server.kill();
  EXPECT_TRUE(becomes(std::nullopt));
}

TEST_F(X11LoginSessionTest, NoScreenSaverExtensionMeansNoSession) {
  Xvfb plain("640x480x24", {"-extension", "MIT-SCREEN-SAVER"});
  session = makeX11LoginSession(plain.display());
  EXPECT_EQ(session->currentDictionary(), std::nullopt);
}

TEST_F(X11LoginSessionTest, WakingIsNeverReported) {
  bool woke = false;
  const auto subscription = session->onDidWake([&] { woke = true; });
  EXPECT_NE(subscription, nullptr);
  EXPECT_TRUE(becomes(json{{"CGSSessionScreenIsLocked", false}}));
  EXPECT_FALSE(woke);
}

}  // namespace
}  // namespace tovalin::test
