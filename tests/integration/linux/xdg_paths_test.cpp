#include "platform/linux/xdg_paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "platform/linux/login_item_autostart.h"
#include "platform/linux/settings_file.h"
#include "tests/integration/support/environment_variable.h"

namespace tovalin {
namespace {

using Variable = test::EnvironmentVariable;
using testing::ElementsAre;

TEST(XdgPathsTest, ConfigurationLivesWhereTheVariableSays) {
  const Variable config("XDG_CONFIG_HOME", "/srv/config");
  EXPECT_EQ(configHome(), "/srv/config");
  EXPECT_EQ(settingsFilePath(), "/srv/config/com.tovalin.host/settings.ini");
  EXPECT_EQ(autostartPlaces().entry, "/srv/config/autostart/com.tovalin.host.desktop");
}

TEST(XdgPathsTest, TheSystemsConfigurationLivesWhereTheVariableSays) {
  {
    const Variable config("XDG_CONFIG_DIRS", "/a:relative::/b/c");
    EXPECT_THAT(configDirectories(), ElementsAre("/a", "/b/c"));
    EXPECT_THAT(autostartPlaces().systemEntries,
                ElementsAre("/a/autostart/com.tovalin.host.desktop",
                            "/b/c/autostart/com.tovalin.host.desktop"));
  }
  for (const char* none : {"", "relative", static_cast<const char*>(nullptr)}) {
    const Variable config("XDG_CONFIG_DIRS", none);
    EXPECT_THAT(configDirectories(), ElementsAre("/etc/xdg"));
  }
}

TEST(XdgPathsTest, TheUsersOwnDataComesBeforeTheSystems) {
  const Variable home("HOME", "/home/ada");
  const Variable own("XDG_DATA_HOME", nullptr);
  {
    const Variable data("XDG_DATA_DIRS", "/opt/share:/usr/share");
    EXPECT_THAT(dataDirectories(),
                ElementsAre("/home/ada/.local/share", "/opt/share", "/usr/share"));
  }
  const Variable data("XDG_DATA_DIRS", nullptr);
  const Variable moved("XDG_DATA_HOME", "/srv/data");
  EXPECT_THAT(dataDirectories(), ElementsAre("/srv/data", "/usr/local/share", "/usr/share"));
}

TEST(XdgPathsTest, ARelativeOrEmptyVariableIsIgnored) {
  const Variable home("HOME", "/home/ada");
  for (const char* value : {"", "config", "./config", "../config"}) {
    const Variable config("XDG_CONFIG_HOME", value);
    EXPECT_EQ(configHome(), "/home/ada/.config") << value;
  }
  const Variable config("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(configHome(), "/home/ada/.config");
}

TEST(XdgPathsTest, WithoutAHomeVariableTheUserDatabaseIsAsked) {
  const Variable config("XDG_CONFIG_HOME", nullptr);
  const Variable home("HOME", nullptr);
  EXPECT_TRUE(configHome().is_absolute());
  EXPECT_EQ(configHome().filename(), ".config");
}

TEST(XdgPathsTest, WithoutARuntimeDirectoryThereIsOneForEachUser) {
  const std::string own = "/tmp/com.tovalin.host-" + std::to_string(getuid());
  {
    const Variable runtime("XDG_RUNTIME_DIR", "/run/user/1000");
    EXPECT_EQ(runtimeHome(), "/run/user/1000");
  }
  {
    const Variable runtime("XDG_RUNTIME_DIR", "relative");
    EXPECT_EQ(runtimeHome(), own);
  }
  const Variable runtime("XDG_RUNTIME_DIR", nullptr);
  EXPECT_EQ(runtimeHome(), own);
}

TEST(XdgPathsTest, TheProgramKnowsItsOwnPath) {
  EXPECT_TRUE(ownExecutable().is_absolute());
  EXPECT_EQ(ownExecutable().filename(), "integration_linux");
}

}  // namespace
}  // namespace tovalin
