#include "platform/linux/xdg_paths.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "platform/linux/login_item_autostart.h"
#include "platform/linux/settings_file.h"

namespace tovalin {
namespace {

// Sets a variable, or unsets it, for the length of a scope.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* present = getenv(name)) before_ = present;
    set(value);
  }
  ~Variable() { set(before_ ? before_->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void set(const char* value) {
    if (value != nullptr) setenv(name_, value, 1);
    if (value == nullptr) unsetenv(name_);
  }

  const char* const name_;
  std::optional<std::string> before_;
};

TEST(XdgPathsTest, ConfigurationLivesWhereTheVariableSays) {
  const Variable config("XDG_CONFIG_HOME", "/srv/config");
  EXPECT_EQ(configHome(), "/srv/config");
  EXPECT_EQ(settingsFilePath(), "/srv/config/com.tovalin.host/settings.ini");
  EXPECT_EQ(autostartEntryPath(), "/srv/config/autostart/com.tovalin.host.desktop");
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
