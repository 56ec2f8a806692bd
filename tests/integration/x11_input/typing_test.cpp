#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <set>

#include "platform/x11/x11_keyboard_spares.h"
#include "tests/integration/x11_input/x11_input_fixture.h"

namespace tovalin::test {
namespace {

class X11TypingTest : public X11InputTest {
 protected:
  // Different characters that no layout has: the first of the CJK ideographs.
  static std::u16string ideographs(size_t count) {
    std::u16string text;
    for (size_t index = 0; index < count; ++index) {
      text += static_cast<char16_t>(0x4e00 + index);
    }
    return text;
  }
  static std::string utf8(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text) {
      bytes += static_cast<char>(0xe0 | unit >> 12);
      bytes += static_cast<char>(0x80 | (unit >> 6 & 0x3f));
      bytes += static_cast<char>(0x80 | (unit & 0x3f));
    }
    return bytes;
  }

  // Every change of a keycode's symbol came late enough after its last press, by the server's
  // clock.
  static void expectKeycodesWereLeftAlone(const std::vector<SeenEvent>& events) {
    std::map<int, xcb_timestamp_t> lastPress;
    size_t changesAfterUse = 0;
    for (const auto& event : events) {
      if (event.type == XCB_KEY_PRESS) lastPress[event.detail] = event.time;
      if (event.type != XCB_MAPPING_NOTIFY || !lastPress.contains(event.detail)) continue;
      EXPECT_GE(event.time - lastPress[event.detail], KeyboardSpares::kQuietTime.count())
          << "keycode " << event.detail;
      ++changesAfterUse;
    }
    EXPECT_GT(changesAfterUse, 0u);
  }
};

TEST_F(X11TypingTest, LongIdeographicTextArrivesCompleteAndInOrder) {
  const auto text = ideographs(600);
  EXPECT_EQ(typed(text), utf8(text));
}

TEST_F(X11TypingTest, KeycodesAreLeftAloneAfterUseHoweverFastTheTextComes) {
  for (const char16_t unit : ideographs(60)) character({unit});
  const auto events = seen();
  EXPECT_EQ(std::ranges::count(events, XCB_KEY_PRESS, &SeenEvent::type), 60);
  expectKeycodesWereLeftAlone(events);
}

TEST_F(X11TypingTest, RepeatedCharacterKeepsItsKeycode) {
  EXPECT_EQ(typed(u"日本日本日日"), "日本日本日日");
  std::set<int> keycodes;
  for (const auto& mapping : watcher.keyboard().mappings()) keycodes.insert(mapping.keycode);
  EXPECT_EQ(keycodes.size(), 2u);
  EXPECT_EQ(watcher.keyboard().mappings().size(), 2u);
}

TEST_F(X11TypingTest, EveryCodePointOfAClusterIsTyped) {
  EXPECT_EQ(typedClusters({u"😀", u"👩‍👩‍👧", u"e\u0301", u"🇩🇪"}),
            "😀👩‍👩‍👧e\u0301🇩🇪");
}

TEST_F(X11TypingTest, SecondEventOfAPairTypesNothing) {
  input->post(KeyboardEvent{0, false, 0, u"x"});
  EXPECT_EQ(seenText(), "");
}

TEST_F(X11TypingTest, LinesTabsAndBackspacesAreKeys) {
  constexpr int kReturn = 36;
  constexpr int kTab = 23;
  constexpr int kBackspace = 22;
  for (const auto* cluster : {u"\n", u"\r", u"\r\n", u"\t", u"\b", u"\x7f"}) character(cluster);
  std::vector<int> presses;
  for (const auto& event : seenKeys()) {
    if (event.type == XCB_KEY_PRESS) presses.push_back(event.detail);
  }
  EXPECT_THAT(presses,
              testing::ElementsAre(kReturn, kReturn, kReturn, kTab, kBackspace, kBackspace));
}

TEST_F(X11TypingTest, WhatIsNoCharacterIsSkipped) {
  const std::u16string cases[] = {
      std::u16string(1, u'\0'), u"\x01",        u"\x1b", u"\u0085", {char16_t{0xd83d}},
      {char16_t{0xde00}},       {0xd83d, u'x'},
  };
  for (const auto& cluster : cases) character(cluster);
  EXPECT_EQ(typed(u"ok"), "xok");
}

TEST_F(X11TypingTest, CapsLockDoesNotChangeWhatIsTyped) {
  watcher.keyboard().lockCaps(true);
  EXPECT_EQ(typed(u"aAzZ1!éÉñÑßжЖ@€日ḋḊ"), "aAzZ1!éÉñÑßжЖ@€日ḋḊ");
  EXPECT_TRUE(watcher.keyboard().capsAreLocked()) << "it is the user's";
}

TEST_F(X11TypingTest, HeldShiftDoesNotChangeWhatIsTyped) {
  key(kShiftKey, true);
  EXPECT_EQ(typed(u"aA1!éÉ日/?"), "aA1!éÉ日/?");
  EXPECT_EQ(watcher.modifiers(), XCB_MOD_MASK_SHIFT) << "it is the viewer's to lift";
  key(kShiftKey, false);
  EXPECT_EQ(typed(u"aA"), "aA");
}

TEST_F(X11TypingTest, HeldShiftAndCapsLockTogetherDoNotChangeWhatIsTyped) {
  watcher.keyboard().lockCaps(true);
  key(kShiftKey, true);
  EXPECT_EQ(typed(u"aA1!éÉ"), "aA1!éÉ");
}

TEST_F(X11TypingTest, ModifiersOfTypedCharactersAreLifted) {
  setLayout("de");
  EXPECT_EQ(typed(u"A@€{"), "A@€{");
  EXPECT_EQ(watcher.modifiers(), 0);
  EXPECT_FALSE(watcher.anyKeyIsDown());
}

TEST_F(X11TypingTest, SettlingRestoresTheMapping) {
  const auto before = watcher.keyboard().mapping();
  EXPECT_EQ(typed(u"日本語ä"), "日本語ä");
  EXPECT_NE(watcher.keyboard().mapping(), before);
  input->settle();
  EXPECT_EQ(watcher.keyboard().mapping(), before);
  EXPECT_EQ(typed(u"語"), "語") << "the next visit types as well";
}

TEST_F(X11TypingTest, DestructionRestoresTheMapping) {
  const auto before = watcher.keyboard().mapping();
  EXPECT_EQ(typed(u"Привет日本語"), "Привет日本語");
  input.reset();
  EXPECT_EQ(watcher.keyboard().mapping(), before);
}

TEST_F(X11TypingTest, SettlingLeavesAKeycodeAloneThatSomebodyElseHasTakenSince) {
  EXPECT_EQ(typed(u"日"), "日");
  const auto keycode = static_cast<xcb_keycode_t>(watcher.keyboard().mappings().at(0).keycode);
  watcher.keyboard().setKeysym(keycode, XKB_KEY_F35);
  input->settle();
  EXPECT_EQ(watcher.keyboard().keysyms(keycode).at(0), xcb_keysym_t{XKB_KEY_F35});
}

TEST_F(X11TypingTest, WhatAKilledProcessBorrowedIsGivenBackByTheNext) {
  const auto before = watcher.keyboard().mapping();
  const pid_t child = fork();
  if (child == 0) {
    makeX11InputEvents(log, server.display()).release()->post(KeyboardEvent{0, true, 0, u"日本語"});
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_EQ(seenText(), "日本語");
  ASSERT_NE(watcher.keyboard().mapping(), before);
  EXPECT_EQ(typed(u"日"), "日");
  input->settle();
  EXPECT_EQ(watcher.keyboard().mapping(), before);
}

TEST_F(X11TypingTest, CharactersOfTheLayoutNeedNoBorrowedKeycodes) {
  EXPECT_EQ(typed(u"Hello, World! [~|\\]"), "Hello, World! [~|\\]");
  EXPECT_TRUE(watcher.keyboard().mappings().empty());
}

}  // namespace
}  // namespace tovalin::test
