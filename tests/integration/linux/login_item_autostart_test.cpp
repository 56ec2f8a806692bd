#include "platform/linux/login_item_autostart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/linux/temporary_directory.h"

namespace tovalin {
namespace {

using test::filesIn;
using test::readFile;
using test::writeFile;
using testing::HasSubstr;

class AutostartLoginItemTest : public testing::Test {
 protected:
  std::unique_ptr<LoginItem> item(const std::string& program = "/usr/bin/tovalin-host") {
    return makeAutostartLoginItem(entry_, program);
  }

  test::TemporaryDirectory directory_;
  std::filesystem::path entry_ = directory_ / "config/autostart/com.tovalin.host.desktop";
};

TEST_F(AutostartLoginItemTest, AFreshUserHasItOff) {
  EXPECT_FALSE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, RegisteringTurnsItOn) {
  EXPECT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_TRUE(item()->isEnabled());
  EXPECT_EQ(readFile(entry_),
            "[Desktop Entry]\nType=Application\nName=Tovalin Host\n"
            "Exec=\"/usr/bin/tovalin-host\"\nIcon=com.tovalin.host\nTerminal=false\n"
            "X-GNOME-Autostart-enabled=true\n");
  EXPECT_EQ(filesIn(entry_.parent_path()), 1u);
}

TEST_F(AutostartLoginItemTest, UnregisteringTurnsItOffAndMayBeRepeated) {
  ASSERT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_EQ(item()->unregisterItem(), std::nullopt);
  EXPECT_FALSE(item()->isEnabled());
  EXPECT_EQ(filesIn(entry_.parent_path()), 0u);
  EXPECT_EQ(item()->unregisterItem(), std::nullopt);
}

TEST_F(AutostartLoginItemTest, WhatADesktopHasSwitchedOffIsOff) {
  const struct {
    std::string file;
    bool enabled;
  } cases[] = {
      {"[Desktop Entry]\nExec=x\n", true},
      {"[Desktop Entry]\nExec=x\nHidden=false\nX-GNOME-Autostart-enabled=true\n", true},
      {"[Desktop Entry]\nExec=x\nHidden=true\n", false},
      {"[Desktop Entry]\nExec=x\nX-GNOME-Autostart-enabled=false\n", false},
      {"[Desktop Entry]\r\nExec = x\r\nHidden = true\r\n", false},
      {"[Desktop Entry]\nExec=x\n# Hidden=true\n[Desktop Action a]\nHidden=true\n", true},
      {"[Other]\nExec=x\n", false},
      {"Exec=x\n", false},
      {"", false},
      {"\xff\xfe not an entry", false},
  };
  for (const auto& test : cases) {
    writeFile(entry_, test.file);
    EXPECT_EQ(item()->isEnabled(), test.enabled) << test.file;
  }
}

TEST_F(AutostartLoginItemTest, RegisteringSwitchesAHiddenEntryOnAgain) {
  writeFile(entry_, "[Desktop Entry]\nExec=old\nHidden=true\n");
  EXPECT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_TRUE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, AnyPathIsQuotedForTheCommandLine) {
  const struct {
    std::string program;
    std::string exec;
  } cases[] = {
      {"/opt/Tovalin Host/bin", R"(Exec="/opt/Tovalin Host/bin")"},
      {"/a\"b", R"(Exec="/a\\"b")"},
      {"/a$b`c", R"(Exec="/a\\$b\\`c")"},
      {"/a\\b", R"(Exec="/a\\\\b")"},
      {"/100%", R"(Exec="/100%%")"},
      {"/line\nbreak\tand\r", R"(Exec="/line\nbreak\tand\r")"},
      {"/büro", R"(Exec="/büro")"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(item(test.program)->registerItem(), std::nullopt);
    EXPECT_THAT(readFile(entry_), HasSubstr("\n" + test.exec + "\n"));
  }
}

TEST_F(AutostartLoginItemTest, AFailureNamesThePathAndTheReason) {
  writeFile(directory_ / "config", "in the way");
  const auto failure = item()->registerItem();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->description,
            "cannot make directory " + entry_.parent_path().string() + ": Not a directory");
  EXPECT_FALSE(item()->isEnabled());

  const auto removal = item()->unregisterItem();
  ASSERT_TRUE(removal);
  EXPECT_EQ(removal->description, "cannot remove " + entry_.string() + ": Not a directory");
}

TEST_F(AutostartLoginItemTest, AProgramWithoutAPathIsNotRegistered) {
  EXPECT_TRUE(item("")->registerItem());
  EXPECT_TRUE(item("tovalin-host")->registerItem());
  EXPECT_FALSE(std::filesystem::exists(entry_));
}

}  // namespace
}  // namespace tovalin
