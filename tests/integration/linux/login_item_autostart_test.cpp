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
    return makeAutostartLoginItem(
        {entry_, {vendorEntry_, systemEntry_}, desktop_, (directory_ / "bin").string()}, program);
  }
  void systemHas(const std::string& keys) { writeFile(systemEntry_, "[Desktop Entry]\n" + keys); }
  void userHas(const std::string& keys) { writeFile(entry_, "[Desktop Entry]\n" + keys); }
  void install(const std::string& program) {
    const auto file = directory_ / "bin" / program;
    writeFile(file, "#!/bin/sh\n");
    std::filesystem::permissions(file, std::filesystem::perms(0755));
  }

  test::TemporaryDirectory directory_;
  const std::string name_ = "autostart/com.tovalin.host.desktop";
  const std::filesystem::path entry_ = directory_ / "config" / name_;
  const std::filesystem::path vendorEntry_ = directory_ / "vendor" / name_;
  const std::filesystem::path systemEntry_ = directory_ / "etc" / name_;
  std::string desktop_ = "ubuntu:GNOME";
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
      {"[Desktop Entry]\nExec=x\nX-MATE-Autostart-enabled=false\n", false},
      {"[Desktop Entry]\nExec=x\nHidden=1\n", false},
      {"[Desktop Entry]\nExec=x\nHidden=false\nHidden=true\n", false},
      {"[Desktop Entry]\nExec=x\nTryExec=no-such-program\n", false},
      {"[Desktop Entry]\nExec=x\nTryExec=/no/such/program\n", false},
      {"[Desktop Entry]\nExec=x\nTryExec=\n", false},
      {"[Desktop Entry]\nExec=x\nTryExec=/bin/sh\n", true},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=GNOME;KDE;\n", true},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=ubuntu\n", true},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=KDE;XFCE;\n", false},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=gnome;\n", false},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=\n", false},
      {"[Desktop Entry]\nExec=x\nNotShowIn=KDE;\n", true},
      {"[Desktop Entry]\nExec=x\nNotShowIn=KDE;GNOME;\n", false},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=GNOME;\nNotShowIn=ubuntu;\n", false},
      {"[Desktop Entry]\nExec=x\nOnlyShowIn=ubuntu;\nNotShowIn=GNOME;\n", true},
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

TEST_F(AutostartLoginItemTest, ATryExecOnThePathIsThere) {
  userHas("Exec=x\nTryExec=helper\n");
  EXPECT_FALSE(item()->isEnabled());
  install("helper");
  EXPECT_TRUE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, OutsideAnyDesktopOnlyEntriesForAllCount) {
  desktop_ = "";
  userHas("Exec=x\nOnlyShowIn=GNOME;\n");
  EXPECT_FALSE(item()->isEnabled());
  userHas("Exec=x\nNotShowIn=GNOME;\n");
  EXPECT_TRUE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, RegisteringSwitchesOnWhateverHadSwitchedItOff) {
  install("helper");
  for (const auto* keys :
       {"Hidden=true\n", "Hidden=1\nHidden=true\n", "X-GNOME-Autostart-enabled=false\n",
        "X-MATE-Autostart-enabled=false\n", "TryExec=/no/such/program\n", "OnlyShowIn=KDE;\n",
        "NotShowIn=GNOME;\n", "OnlyShowIn=KDE;\nNotShowIn=ubuntu;\n", "OnlyShowIn=\n"}) {
    userHas(std::string("Exec=old\n") + keys);
    EXPECT_FALSE(item()->isEnabled()) << keys;
    EXPECT_EQ(item()->registerItem(), std::nullopt);
    EXPECT_TRUE(item()->isEnabled()) << keys;
    EXPECT_THAT(readFile(entry_), HasSubstr("\nExec=\"/usr/bin/tovalin-host\"\n"));
  }
}

TEST_F(AutostartLoginItemTest, RegisteringLosesNothingThatTheUserOrTheDesktopAdded) {
  install("helper");
  userHas(
      "# mine\nType=Application\nName=My host\nName[de]=Mein Rechner\nExec=/old/place\nIcon=mine\n"
      "TryExec=helper\nOnlyShowIn=KDE;XFCE;\nNotShowIn=ubuntu;MATE;\n"
      "X-GNOME-Autostart-Delay=10\nX-GNOME-Autostart-enabled=false\nHidden=true\n"
      "\n[Desktop Action pause]\nExec=pause\n");
  EXPECT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_EQ(readFile(entry_),
            "[Desktop Entry]\n"
            "# mine\nType=Application\nName=My host\nName[de]=Mein Rechner\n"
            "Exec=\"/usr/bin/tovalin-host\"\nIcon=mine\n"
            "TryExec=helper\nOnlyShowIn=KDE;XFCE;GNOME;\nNotShowIn=MATE;\n"
            "X-GNOME-Autostart-Delay=10\nX-GNOME-Autostart-enabled=true\nTerminal=false\n"
            "\n[Desktop Action pause]\nExec=pause\n");
  EXPECT_TRUE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, ACommandLineThatStartsTheProgramStaysTheUsers) {
  install("tovalin-host");
  const auto program = (directory_ / "bin/tovalin-host").string();
  for (const auto& exec :
       {"env LANG=C " + program, std::string("nice tovalin-host"), "\"" + program + "\" --x"}) {
    userHas("Hidden=true\nExec=" + exec + "\n");
    EXPECT_EQ(item(program)->registerItem(), std::nullopt);
    EXPECT_THAT(readFile(entry_), HasSubstr("\nExec=" + exec + "\n"));
  }
}

TEST_F(AutostartLoginItemTest, UnregisteringAnEditedEntryOnlySwitchesItOff) {
  ASSERT_EQ(item()->registerItem(), std::nullopt);
  const auto fresh = readFile(entry_);
  for (const auto* added : {"X-GNOME-Autostart-Delay=10\n", "Name[de]=Rechner\n", "# a note\n",
                            "Exec=env A=1 /usr/bin/tovalin-host\n", "Name=My host\n"}) {
    writeFile(entry_, fresh + added);
    EXPECT_EQ(item()->unregisterItem(), std::nullopt);
    EXPECT_FALSE(item()->isEnabled());
    EXPECT_EQ(readFile(entry_), fresh + added + "Hidden=true\n");
    EXPECT_EQ(item()->registerItem(), std::nullopt);
    EXPECT_TRUE(item()->isEnabled());
    EXPECT_EQ(readFile(entry_), fresh + added);
  }
}

TEST_F(AutostartLoginItemTest, UnregisteringWhatTheDesktopHasSwitchedOffRemovesIt) {
  for (const auto* off : {"Hidden=true\n", "X-GNOME-Autostart-enabled=false\n"}) {
    ASSERT_EQ(item()->registerItem(), std::nullopt);
    writeFile(entry_, readFile(entry_) + off);
    EXPECT_EQ(item()->unregisterItem(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(entry_)) << off;
  }
}

TEST_F(AutostartLoginItemTest, WithoutAnEntryOfTheUsersTheSystemsCounts) {
  systemHas("Exec=tovalin-host\n");
  EXPECT_TRUE(item()->isEnabled());
  systemHas("Exec=tovalin-host\nOnlyShowIn=KDE;\n");
  EXPECT_FALSE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, TheMoreImportantOfTheSystemsEntriesCounts) {
  systemHas("Exec=tovalin-host\n");
  writeFile(vendorEntry_, "[Desktop Entry]\nExec=tovalin-host\nHidden=true\n");
  EXPECT_FALSE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, TheUsersEntryStandsInForTheSystems) {
  systemHas("Exec=tovalin-host\n");
  userHas("Exec=x\nHidden=true\n");
  EXPECT_FALSE(item()->isEnabled());
  systemHas("Exec=tovalin-host\nHidden=true\n");
  EXPECT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_TRUE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, UnregisteringTurnsTheSystemsEntryOffForThisUser) {
  systemHas("Exec=tovalin-host\n");
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(item()->unregisterItem(), std::nullopt);
    EXPECT_FALSE(item()->isEnabled());
    EXPECT_THAT(readFile(entry_), HasSubstr("\nHidden=true\n"));
  }
  EXPECT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_TRUE(item()->isEnabled());
  EXPECT_EQ(item()->unregisterItem(), std::nullopt);
  EXPECT_FALSE(item()->isEnabled());
  EXPECT_EQ(readFile(systemEntry_), "[Desktop Entry]\nExec=tovalin-host\n");
}

TEST_F(AutostartLoginItemTest, ALinkIsReplacedAndItsTargetLeftAlone) {
  const auto target = directory_ / "dotfiles/entry";
  writeFile(target, "[Desktop Entry]\nExec=x\nX-Mine=1\n");
  std::filesystem::create_directories(entry_.parent_path());
  std::filesystem::create_symlink(target, entry_);
  EXPECT_TRUE(item()->isEnabled());
  EXPECT_EQ(item()->unregisterItem(), std::nullopt);
  EXPECT_FALSE(item()->isEnabled());
  EXPECT_EQ(item()->registerItem(), std::nullopt);
  EXPECT_THAT(readFile(entry_), HasSubstr("\nX-Mine=1\n"));
  EXPECT_EQ(readFile(target), "[Desktop Entry]\nExec=x\nX-Mine=1\n");
}

TEST_F(AutostartLoginItemTest, WhatCannotBeReadIsNotOverwritten) {
  std::filesystem::create_directories(entry_);
  const auto failure = item()->registerItem();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->description, "cannot read " + entry_.string() + ": Is a directory");
  EXPECT_TRUE(item()->unregisterItem());
  EXPECT_FALSE(item()->isEnabled());
}

TEST_F(AutostartLoginItemTest, AnEntryBeyondAllMeasureIsLeftAlone) {
  const std::string huge = "Exec=x\n#" + std::string(100'000, 'x') + "\n";
  userHas(huge);
  EXPECT_TRUE(item()->registerItem());
  EXPECT_TRUE(item()->unregisterItem());
  EXPECT_EQ(readFile(entry_), "[Desktop Entry]\n" + huge);
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
