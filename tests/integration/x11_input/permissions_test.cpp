#include "platform/x11/x11_permissions.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/integration/linux/stub_program.h"
#include "tests/integration/support/environment_variable.h"
#include "tests/integration/support/xvfb.h"
#include "tests/integration/x11_input/becomes_true.h"

namespace tovalin::test {
namespace {

TEST(X11PermissionsTest, AServerGrantsBoth) {
  Xvfb server;
  const auto permissions = makeX11Permissions(server.display());
  EXPECT_TRUE(permissions->preflightScreenCapture());
  EXPECT_TRUE(permissions->isTrusted());
}

TEST(X11PermissionsTest, WithoutXtestOnlyTheScreenIsGranted) {
  Xvfb server("640x480x24", {"-extension", "XTEST"});
  const auto permissions = makeX11Permissions(server.display());
  EXPECT_TRUE(permissions->preflightScreenCapture());
  EXPECT_FALSE(permissions->isTrusted());
}

TEST(X11PermissionsTest, OpeningSettingsStartsTheDesktopsProgram) {
  const TemporaryDirectory directory;
  const StubProgram program(directory / "systemsettings");
  const EnvironmentVariable path("PATH",
                                 (directory.path().string() + ":" + getenv("PATH")).c_str());
  const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "KDE");
  Xvfb server;
  makeX11Permissions(server.display())->openScreenCaptureSettings();
  EXPECT_NE(program.nextStart(), "");
}

TEST(X11PermissionsTest, RequestsAreHarmless) {
  const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", nullptr);
  Xvfb server;
  const auto permissions = makeX11Permissions(server.display());
  permissions->requestScreenCapture();
  permissions->requestTrustedWithPrompt();
  permissions->openScreenCaptureSettings();
  EXPECT_TRUE(permissions->preflightScreenCapture());
}

TEST(X11PermissionsTest, AnswersFollowTheServer) {
  signal(SIGPIPE, SIG_IGN);
  const std::string display = ":" + std::to_string(2000 + getpid() % 50000);
  const auto permissions = makeX11Permissions(display);
  EXPECT_FALSE(permissions->preflightScreenCapture());
  EXPECT_FALSE(permissions->isTrusted());
  Xvfb server("640x480x24", {display});
  EXPECT_TRUE(becomesTrue([&] { return permissions->preflightScreenCapture(); }));
  EXPECT_TRUE(permissions->isTrusted());
  server.kill();
  EXPECT_TRUE(becomesTrue([&] { return !permissions->preflightScreenCapture(); }));
  EXPECT_FALSE(permissions->isTrusted());
}

}  // namespace
}  // namespace tovalin::test
