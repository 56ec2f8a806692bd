#include "platform/linux/settings_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovalin {
namespace {

using testing::HasSubstr;

SettingsText parsed(std::string_view file) {
  auto result = SettingsText::parse(file);
  EXPECT_TRUE(std::holds_alternative<SettingsText>(result)) << file;
  return std::get<SettingsText>(std::move(result));
}

std::string damageOf(std::string_view file) {
  const auto result = SettingsText::parse(file);
  EXPECT_TRUE(std::holds_alternative<Error>(result)) << file;
  return std::get<Error>(result).description;
}

TEST(SettingsTextTest, WritesPlainLinesUnderItsHeader) {
  SettingsText settings;
  settings.setString("tovalin.serverURL", "wss://signal.example:443/signal?a=b#c;d");
  settings.setBoolean("tovalin.hasPairedOnce", true);
  settings.setBoolean("tovalin.loginConfigured", false);
  EXPECT_EQ(settings.text(),
            "[General]\n"
            "tovalin.serverURL=wss://signal.example:443/signal?a=b#c;d\n"
            "tovalin.hasPairedOnce=true\n"
            "tovalin.loginConfigured=false\n");
}

TEST(SettingsTextTest, ReadsStringsAndBooleansByType) {
  const auto settings = parsed("[General]\na=text\nb=true\nc=false\nd=\ne=True\nf=1\n");
  EXPECT_EQ(settings.string("a"), "text");
  EXPECT_EQ(settings.boolean("a"), std::nullopt);
  EXPECT_EQ(settings.boolean("b"), true);
  EXPECT_EQ(settings.string("b"), std::nullopt);
  EXPECT_EQ(settings.boolean("c"), false);
  EXPECT_EQ(settings.string("d"), "");
  EXPECT_EQ(settings.boolean("d"), std::nullopt);
  EXPECT_EQ(settings.boolean("e"), std::nullopt);
  EXPECT_EQ(settings.string("f"), "1");
  EXPECT_EQ(settings.string("missing"), std::nullopt);
  EXPECT_EQ(settings.boolean("missing"), std::nullopt);
  EXPECT_EQ(settings.string(""), std::nullopt);
}

TEST(SettingsTextTest, EveryStringComesBackAsItWas) {
  using namespace std::string_literals;
  const std::string values[] = {
      "",
      "plain",
      "=",
      "a=b=c",
      "# no comment",
      "; no comment",
      "[General]",
      " leading",
      "trailing ",
      "  both  ",
      " ",
      "\t",
      "\ttabs\t",
      "line\nline",
      "\n",
      "carriage\r",
      "\\",
      "\\n",
      "\\\\n",
      "\\x41",
      "C:\\new\\x20folder\\",
      "true",
      "false",
      "True",
      "truer",
      "nul\0within"s,
      "\x7f\x01",
      "Büro – 事務所 🖥️",
      "\u0085\u00a0",
      "ill-formed \xff\xc3",
      std::string(100'000, 'x'),
  };
  for (const auto& value : values) {
    SettingsText settings;
    settings.setString("before", "1");
    settings.setString("key", value);
    settings.setString("after", "2");
    const auto again = parsed(settings.text());
    EXPECT_EQ(again.string("key"), value);
    EXPECT_EQ(again.boolean("key"), std::nullopt) << value;
    EXPECT_EQ(again.string("before"), "1") << value;
    EXPECT_EQ(again.string("after"), "2") << value;
  }
}

TEST(SettingsTextTest, ReadsWhatPeopleWriteByHand) {
  const auto settings = parsed(
      "  # mine\r\n\r\n  [General]  \r\n  spaced  =  a value  \r\npath=C:\\dir\\q\\\r\n"
      "hex=\\x4A\\x4a\nshort=\\x4\nnot=\\xzz\nlast=no newline");
  EXPECT_EQ(settings.string("spaced"), "a value");
  EXPECT_EQ(settings.string("path"), "C:\\dir\\q\\");
  EXPECT_EQ(settings.string("hex"), "JJ");
  EXPECT_EQ(settings.string("short"), "\\x4");
  EXPECT_EQ(settings.string("not"), "\\xzz");
  EXPECT_EQ(settings.string("last"), "no newline");
}

TEST(SettingsTextTest, TheLaterOfTwoLinesCountsAndIsTheOneRewritten) {
  auto settings = parsed("[General]\na=1\na=2\n");
  EXPECT_EQ(settings.string("a"), "2");
  settings.setString("a", "3");
  EXPECT_EQ(settings.text(), "[General]\na=1\na=3\n");
  EXPECT_EQ(settings.string("a"), "3");
}

TEST(SettingsTextTest, KeepsEveryLineThatIsNotItsOwn) {
  const std::string file =
      "; of the user\n"
      "[Window]\n"
      "a=of the window\n"
      "\n"
      "[General]\n"
      "# about a\n"
      "a=1\n"
      "unknown =  left  alone \n"
      "\n"
      "[Other]\n"
      "a=of the other\n";
  auto settings = parsed(file);
  EXPECT_EQ(settings.text(), file);
  EXPECT_EQ(settings.string("a"), "1");

  settings.setString("a", "2");
  settings.setBoolean("b", true);
  EXPECT_EQ(settings.text(),
            "; of the user\n"
            "[Window]\n"
            "a=of the window\n"
            "\n"
            "[General]\n"
            "# about a\n"
            "a=2\n"
            "unknown =  left  alone \n"
            "b=true\n"
            "\n"
            "[Other]\n"
            "a=of the other\n");
}

TEST(SettingsTextTest, AFileOfCommentsAloneGetsItsHeader) {
  auto settings = parsed("# nothing yet\n");
  settings.setString("a", "1");
  EXPECT_EQ(settings.text(), "# nothing yet\n[General]\na=1\n");
}

TEST(SettingsTextTest, AdoptsAKeyInEitherType) {
  const auto other = parsed("[General]\na=x\\ny\nb=false\nc=\\x74rue\n");
  SettingsText settings;
  for (const auto* key : {"a", "b", "c"}) settings.adopt(key, other);
  EXPECT_EQ(settings.string("a"), "x\ny");
  EXPECT_EQ(settings.boolean("b"), false);
  EXPECT_EQ(settings.string("c"), "true");
}

TEST(SettingsTextTest, SaysWhatIsDamaged) {
  using namespace std::string_literals;
  const struct {
    std::string file;
    std::string says;
  } cases[] = {
      {"a=1\n", "line 1 stands before any header"},
      {"\n# c\na=1\n[General]\n", "line 3 stands before any header"},
      {"[General]\nno equals sign\n", "line 2 has no '='"},
      {"[General]\na=1\ntorn", "line 3 has no '='"},
      {"[Gener", "line 1 is a header without its end"},
      {"[Other]\na=1\n", "no header [General]"},
      {"[general]\na=1\n", "no header [General]"},
      {"[General]\na=\0\n"s, "NUL"},
      {std::string(64, '\0'), "NUL"},
      {"[General]\na=\xff\n", "UTF-8"},
      {"[General]\na=\xed\xa0\x80\n", "UTF-8"},
      {"[General]\na=\xc0\xaf\n", "UTF-8"},
      {"[General]\na=\xf5\x80\x80\x80\n", "UTF-8"},
      {"[General]\na=\xe4\xba", "UTF-8"},
      {"[General]\na=" + std::string(kSettingsLimitBytes, 'x'), "1 MiB"},
  };
  for (const auto& test : cases) EXPECT_THAT(damageOf(test.file), HasSubstr(test.says));
}

TEST(SettingsTextTest, AnEmptyFileIsNoDamage) {
  for (const auto* file : {"", "\n", "  \n\t\n", "[General]", "[General]\n"}) {
    EXPECT_EQ(parsed(file).string("a"), std::nullopt);
  }
}

}  // namespace
}  // namespace tovalin
