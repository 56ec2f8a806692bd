#include "platform/linux/desktop_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/exec_line.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DesktopEntryTest, ReadsTheKeysOfItsGroupAlone) {
  const DesktopEntry entry(
      "# a comment\n\n[Other]\nName=wrong\n[Desktop Entry]\n Name = right \r\nName[de]=richtig\n"
      "[Desktop Action a]\nName=wrong\n");
  EXPECT_EQ(entry.value("Name"), "right");
  EXPECT_EQ(entry.value("Name[de]"), "richtig");
  EXPECT_EQ(entry.value("Exec"), std::nullopt);
  EXPECT_THAT(entry.keys(), ElementsAre("Name", "Name[de]"));
}

TEST(DesktopEntryTest, OfAKeyThatStandsTwiceTheLastCounts) {
  DesktopEntry entry("[Desktop Entry]\nA=1\nB=2\nA=3\n");
  EXPECT_EQ(entry.value("A"), "3");
  entry.setRawValue("A", "4");
  EXPECT_EQ(entry.value("A"), "4");
  entry.remove("A");
  EXPECT_EQ(entry.text(), "[Desktop Entry]\nB=2\n");
}

TEST(DesktopEntryTest, ResolvesEscapes) {
  const DesktopEntry entry("[Desktop Entry]\nA=\\sx\\ny\\tz\\r\\\\n\\q\\\n");
  EXPECT_EQ(entry.value("A"), " x\ny\tz\r\\n\\q\\");
  EXPECT_EQ(DesktopEntry("[Desktop Entry]\nA=" + escapedValue("x\ny\tz\r\\")).value("A"),
            "x\ny\tz\r\\");
}

TEST(DesktopEntryTest, KnowsBooleansAndLists) {
  const DesktopEntry entry("[Desktop Entry]\nA=true\nB=0\nC=maybe\nD=x;y z;;\nE=\n");
  EXPECT_EQ(entry.boolean("A"), true);
  EXPECT_EQ(entry.boolean("B"), false);
  EXPECT_EQ(entry.boolean("C"), std::nullopt);
  EXPECT_EQ(entry.boolean("none"), std::nullopt);
  EXPECT_THAT(entry.list("D"), ElementsAre("x", "y z"));
  EXPECT_THAT(entry.list("E"), IsEmpty());
  EXPECT_THAT(entry.list("none"), IsEmpty());
}

TEST(DesktopEntryTest, AChangeLeavesEverythingElseAsItWas) {
  DesktopEntry entry(
      "# kept\n[Desktop Entry]\nName=x\nName[de]=y\n# kept too\nOld=1\n\n[More]\nName=z\n");
  entry.setRawValue("Name", "n");
  entry.remove("Old");
  entry.setRawValue("New", "2");
  entry.setList("List", {"a", "b"});
  EXPECT_EQ(entry.text(),
            "# kept\n[Desktop Entry]\nName=n\nName[de]=y\n# kept too\nNew=2\nList=a;b;\n\n"
            "[More]\nName=z\n");
}

TEST(DesktopEntryTest, WhatIsNoEntryBecomesAnEmptyOne) {
  for (const auto* file : {"", "garbage", "Name=x\n", "[Other]\nName=x\n", "\n\n"}) {
    EXPECT_EQ(DesktopEntry(file).text(), "[Desktop Entry]\n") << file;
  }
}

TEST(DesktopEntryTest, ALineForWhichDesktopsRefuseTheFileIsDropped) {
  EXPECT_EQ(DesktopEntry("[Desktop Entry]\nName=x\nnonsense\n").text(),
            "[Desktop Entry]\nName=x\n");
}

TEST(ExecLineTest, ReadsBackWhatItQuotes) {
  for (const auto* argument :
       {"/usr/bin/x", "/opt/two words", "/a\"b", "/a$b`c", "/a\\b", "/100%", "/line\nbreak", ""}) {
    const DesktopEntry entry("[Desktop Entry]\nExec=" + execArgument(argument) + "\n");
    EXPECT_THAT(execArguments(*entry.value("Exec")), ElementsAre(argument));
  }
}

TEST(ExecLineTest, SplitsAtBlanksOutsideQuotes) {
  EXPECT_THAT(execArguments("env  A=1 \"/opt/two words\" --x\t%U"),
              ElementsAre("env", "A=1", "/opt/two words", "--x", "%U"));
  EXPECT_THAT(execArguments("  "), IsEmpty());
  EXPECT_THAT(execArguments("\"open end"), ElementsAre("open end"));
}

}  // namespace
}  // namespace tovalin
