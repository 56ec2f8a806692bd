#include "tests/integration/x11_input/x11_input_fixture.h"

namespace tovalin::test {
namespace {

class X11TypingLayoutsTest : public X11InputTest,
                             public testing::WithParamInterface<const char*> {};

TEST_P(X11TypingLayoutsTest, EveryTextArrivesAsItWasSent) {
  setLayout(GetParam());
  EXPECT_EQ(typed(u"Grüße, naïve façade"), "Grüße, naïve façade");
  EXPECT_EQ(typed(u"Привет"), "Привет");
  EXPECT_EQ(typed(u"日本語"), "日本語");
  EXPECT_EQ(typedClusters({u"😀", u"👩‍👩‍👧"}), "😀👩‍👩‍👧");
  EXPECT_EQ(typed(u"AaZz@€\\|~"), "AaZz@€\\|~");
}

TEST_P(X11TypingLayoutsTest, EveryTextArrivesAsItWasSentUnderCapsLock) {
  setLayout(GetParam());
  watcher.keyboard().lockCaps(true);
  EXPECT_EQ(typed(u"Grüße, naïve façade"), "Grüße, naïve façade");
  EXPECT_EQ(typed(u"Привет"), "Привет");
  EXPECT_EQ(typed(u"AaZz@€\\|~1!"), "AaZz@€\\|~1!");
}

TEST_P(X11TypingLayoutsTest, EveryTextArrivesAsItWasSentWithShiftHeld) {
  setLayout(GetParam());
  key(kShiftKey, true);
  EXPECT_EQ(typed(u"Grüße, naïve façade"), "Grüße, naïve façade");
  EXPECT_EQ(typed(u"Привет"), "Привет");
  EXPECT_EQ(typed(u"AaZz@€\\|~1!"), "AaZz@€\\|~1!");
}

INSTANTIATE_TEST_SUITE_P(Layouts, X11TypingLayoutsTest,
                         testing::Values("us", "de", "fr", "ru", "gr", "us,ru"),
                         [](const auto& test) {
                           std::string name = test.param;
                           std::erase(name, ',');
                           return name;
                         });

class X11LayoutSwitchTest : public X11InputTest {};

TEST_F(X11LayoutSwitchTest, TypingFollowsALayoutSetMeanwhile) {
  EXPECT_EQ(typed(u"zy;日"), "zy;日");
  for (const auto* layout : {"de", "us", "ru", "dvorak", "fr", "us"}) {
    SCOPED_TRACE(layout);
    setLayout(layout);
    EXPECT_EQ(typed(u"zy;日ж"), "zy;日ж");
  }
}

TEST_F(X11LayoutSwitchTest, TypingFollowsASwitchOfGroups) {
  setLayout("us,ru,gr");
  for (const uint8_t group : {1, 0, 2, 0}) {
    watcher.keyboard().lockGroup(group);
    EXPECT_EQ(typed(u"aжλ日;"), "aжλ日;") << "in group " << int{group};
  }
}

TEST_F(X11LayoutSwitchTest, CharactersOfTheActiveGroupNeedNoBorrowedKeycodes) {
  setLayout("us,ru");
  watcher.keyboard().lockGroup(1);
  EXPECT_EQ(typed(u"Привет"), "Привет");
  EXPECT_TRUE(watcher.keyboard().mappings().empty());
}

TEST_F(X11LayoutSwitchTest, SettlingRestoresTheMappingOfTheLayoutSetMeanwhile) {
  EXPECT_EQ(typed(u"日"), "日");
  setLayout("de");
  const auto before = watcher.keyboard().mapping();
  EXPECT_EQ(typed(u"本"), "本");
  input->settle();
  EXPECT_EQ(watcher.keyboard().mapping(), before);
}

}  // namespace
}  // namespace tovalin::test
