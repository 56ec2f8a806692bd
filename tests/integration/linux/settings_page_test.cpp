#include "platform/linux/settings_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/linux/stub_program.h"
#include "tests/integration/support/environment_variable.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class SettingsPageTest : public testing::Test {
 protected:
  void install(const std::string& program) {
    const auto file = directory_ / "bin" / program;
    test::writeFile(file, "#!/bin/sh\n");
    std::filesystem::permissions(file, std::filesystem::perms(0755));
  }
  void list(const std::string& page) {
    test::writeFile(directory_ / "share/applications" / page, "[Desktop Entry]\n");
  }
  std::vector<std::string> commandFor(const std::string& desktop) {
    return privacySettingsCommand({desktop, bin_, {directory_ / "none", directory_ / "share"}});
  }

  test::TemporaryDirectory directory_;
  const std::string bin_ = directory_ / "bin";
};

TEST_F(SettingsPageTest, GnomeOpensThePageThatItsVersionHas) {
  install("gnome-control-center");
  const auto program = bin_ + "/gnome-control-center";
  EXPECT_THAT(commandFor("GNOME"), ElementsAre(program));
  list("gnome-lock-panel.desktop");
  EXPECT_THAT(commandFor("GNOME"), ElementsAre(program, "lock"));
  list("gnome-screen-panel.desktop");
  EXPECT_THAT(commandFor("ubuntu:GNOME"), ElementsAre(program, "screen"));
  list("gnome-privacy-panel.desktop");
  EXPECT_THAT(commandFor("GNOME-Classic:GNOME"), ElementsAre(program, "privacy"));
}

TEST_F(SettingsPageTest, PlasmaOpensItsSettingsUnderEitherName) {
  install("systemsettings5");
  EXPECT_THAT(commandFor("KDE"), ElementsAre(bin_ + "/systemsettings5"));
  install("systemsettings");
  EXPECT_THAT(commandFor("KDE"), ElementsAre(bin_ + "/systemsettings"));
  list("kcm_app-permissions.desktop");
  EXPECT_THAT(commandFor("KDE"), ElementsAre(bin_ + "/systemsettings", "kcm_app-permissions"));
}

TEST_F(SettingsPageTest, OtherDesktopsHaveNone) {
  install("gnome-control-center");
  install("systemsettings");
  for (const auto* desktop : {"", "XFCE", "LXQt", "MATE", "gnome", "GNOMEX", "openbox", ":"}) {
    EXPECT_THAT(commandFor(desktop), IsEmpty()) << desktop;
  }
}

TEST_F(SettingsPageTest, ADesktopWithoutItsSettingsProgramHasNone) {
  install("systemsettings");
  list("gnome-privacy-panel.desktop");
  EXPECT_THAT(commandFor("GNOME"), IsEmpty());
}

TEST_F(SettingsPageTest, AProgramThatMayNotBeRunIsNone) {
  test::writeFile(bin_ + "/systemsettings", "text");
  EXPECT_THAT(commandFor("KDE"), IsEmpty());
}

TEST_F(SettingsPageTest, OpeningStartsTheDesktopsProgramOnItsPage) {
  const test::StubProgram program(directory_ / "bin/gnome-control-center");
  list("gnome-screen-panel.desktop");
  // The stub is a script, which needs the system's own programs too.
  const test::EnvironmentVariable path("PATH", (bin_ + ":" + getenv("PATH")).c_str());
  const test::EnvironmentVariable data("XDG_DATA_DIRS", (directory_ / "share").c_str());
  const test::EnvironmentVariable home("XDG_DATA_HOME", (directory_ / "home").c_str());
  const test::EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "GNOME");
  openPrivacySettings();
  EXPECT_THAT(program.nextStart(), EndsWith(" screen"));
}

}  // namespace
}  // namespace tovalin
