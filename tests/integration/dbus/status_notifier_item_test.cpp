#include "platform/dbus/status_notifier_item.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/dbus/bus_message.h"
#include "tests/fakes/fake_system.h"
#include "tests/integration/dbus/status_notifier_item_fixture.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(StatusNotifierItemTest, RegistersUnderANameOfItsOwn) {
  showIcon();
  EXPECT_THAT(host_.registered(),
              ElementsAre("org.kde.StatusNotifierItem-" + std::to_string(getpid()) + "-1"));
  EXPECT_THAT(shownChanges_, ElementsAre(true));
}

TEST_F(StatusNotifierItemTest, SaysWhatItIs) {
  showIcon();
  EXPECT_EQ(text(kItem, kItemPath, "Category"), "ApplicationStatus");
  EXPECT_EQ(text(kItem, kItemPath, "Id"), "com.tovalin.host");
  EXPECT_EQ(text(kItem, kItemPath, "Title"), "Tovalin Host");
  EXPECT_EQ(text(kItem, kItemPath, "Status"), "Active");
  EXPECT_EQ(text(kItem, kItemPath, "IconName"), "");
  const auto isMenu = host_.property(kItem, kItemPath, "ItemIsMenu");
  ASSERT_TRUE(isMenu && enterVariant(isMenu.get(), "b"));
  EXPECT_EQ(readBool(isMenu.get()), false);
  const auto menu = host_.property(kItem, kItemPath, "Menu");
  ASSERT_TRUE(menu && enterVariant(menu.get(), "o"));
  EXPECT_EQ(readObjectPath(menu.get()), kMenuPath);
}

TEST_F(StatusNotifierItemTest, TheToolTipIsTheStatusBelowTheName) {
  showIcon();
  const auto tip = host_.property(kItem, kItemPath, "ToolTip");
  ASSERT_TRUE(tip && enterVariant(tip.get(), "(sa(iiay)ss)"));
  ASSERT_GT(sd_bus_message_enter_container(tip.get(), 'r', "sa(iiay)ss"), 0);
  EXPECT_EQ(readString(tip.get()), "");
  ASSERT_GT(sd_bus_message_skip(tip.get(), "a(iiay)"), 0);
  EXPECT_EQ(readString(tip.get()), "Tovalin Host");
  EXPECT_EQ(readString(tip.get()), "Waiting for a viewer…");
}

TEST_F(StatusNotifierItemTest, AllPropertiesCanBeReadAtOnce) {
  showIcon();
  const auto all =
      host_.call("org.freedesktop.DBus.Properties", kItemPath, "GetAll",
                 [](sd_bus_message* call) { sd_bus_message_append(call, "s", kItem); });
  ASSERT_TRUE(all);
  ASSERT_GT(sd_bus_message_enter_container(all.get(), 'a', "{sv}"), 0);
  std::vector<std::string> names;
  while (sd_bus_message_enter_container(all.get(), 'e', "sv") > 0) {
    names.push_back(readString(all.get()).value_or("?"));
    sd_bus_message_skip(all.get(), "v");
    sd_bus_message_exit_container(all.get());
  }
  EXPECT_THAT(names, testing::UnorderedElementsAre("Category", "Id", "Title", "Status", "WindowId",
                                                   "IconName", "IconPixmap", "ToolTip",
                                                   "ItemIsMenu", "Menu"));
}

TEST_F(StatusNotifierItemTest, PicturesComeInEverySizeInNetworkByteOrder) {
  showIcon();
  const auto found = pixmaps();
  std::vector<int> sizes;
  for (const auto& pixmap : found) {
    sizes.push_back(pixmap.width);
    EXPECT_EQ(pixmap.height, pixmap.width);
    ASSERT_EQ(pixmap.bytes.size(), static_cast<size_t>(pixmap.width * pixmap.width * 4));
    const std::vector<uint8_t> first(pixmap.bytes.begin(), pixmap.bytes.begin() + 8);
    EXPECT_THAT(first, ElementsAre(1, 2, 3, 4, 0xff, 0x10, 0x20, 0x30));
  }
  EXPECT_THAT(sizes, ElementsAre(16, 22, 24, 32, 48, 64));
}

TEST_F(StatusNotifierItemTest, AChangeIsAnnouncedOnceAndThenRead) {
  showIcon();
  for (const auto* signal : {"NewIcon", "NewToolTip"}) host_.countSignal(kItem, signal);
  callItem("SecondaryActivate", 0, 0);  // by now the tray listens
  icon_->update({"two", "Waiting for a viewer…", "Open Tovalin Host"});
  EXPECT_TRUE(loop_.runUntil([&] { return host_.signals("NewIcon") == 1; }));
  EXPECT_EQ(pixmaps().at(0).bytes.at(5), 0x40);
  icon_->update({"two", "Viewer connected", "Open Tovalin Host"});
  icon_->update({"two", "Viewer connected", "Open Tovalin Host"});
  EXPECT_TRUE(loop_.runUntil([&] { return host_.signals("NewToolTip") == 1; }));
  callItem("SecondaryActivate", 0, 0);
  EXPECT_EQ(host_.signals("NewIcon"), 1);
  EXPECT_EQ(host_.signals("NewToolTip"), 1);
}

TEST_F(StatusNotifierItemTest, AClickAndTheContextMenuActivateAtThePlaceOfTheClick) {
  showIcon();
  callItem("Activate", 1900, 12);
  callItem("ContextMenu", -5, 20);
  callItem("Activate", 0, 0);
  EXPECT_THAT(activations_,
              ElementsAre(TrayArea{1900, 12, 0, 0}, TrayArea{-5, 20, 0, 0}, std::nullopt));
}

TEST_F(StatusNotifierItemTest, TheMiddleButtonAndTheWheelDoNothing) {
  showIcon();
  callItem("SecondaryActivate", 5, 5);
  EXPECT_TRUE(host_.call(kItem, kItemPath, "Scroll", [](sd_bus_message* call) {
    sd_bus_message_append(call, "is", 120, "vertical");
  }));
  EXPECT_THAT(activations_, IsEmpty());
}

TEST_F(StatusNotifierItemTest, MalformedCallsAreRefusedAndChangeNothing) {
  showIcon();
  EXPECT_FALSE(host_.call(kItem, kItemPath, "Activate",
                          [](sd_bus_message* call) { sd_bus_message_append(call, "s", "here"); }));
  EXPECT_FALSE(host_.call(kItem, kItemPath, "NoSuchMethod"));
  EXPECT_THAT(activations_, IsEmpty());
}

TEST_F(StatusNotifierItemTest, WithoutAWatcherItIsNotShownAndSaysSo) {
  makeIcon();
  EXPECT_TRUE(loop_.runUntil([&] { return !shownChanges_.empty(); }));
  EXPECT_THAT(shownChanges_, ElementsAre(false));
}

TEST_F(StatusNotifierItemTest, WithoutABusItIsNotShownAndSaysSo) {
  Bus none("session bus", "", loop_.queue, loop_, log_);
  icons_ = makeStatusNotifierIcons(none, paint);
  makeIcon();
  EXPECT_TRUE(loop_.runUntil([&] { return !shownChanges_.empty(); }));
  EXPECT_THAT(shownChanges_, ElementsAre(false));
  icon_.reset();
  icons_.reset();
}

TEST_F(StatusNotifierItemTest, AWatcherThatComesLaterShowsIt) {
  makeIcon();
  ASSERT_TRUE(loop_.runUntil([&] { return !shownChanges_.empty(); }));
  host_.startWatcher();
  EXPECT_TRUE(becomesShown());
  EXPECT_EQ(pixmaps().size(), 6u);
}

TEST_F(StatusNotifierItemTest, AWatcherThatReturnsShowsItAgain) {
  showIcon();
  for (size_t round = 1; round <= 3; ++round) {
    host_.stopWatcher();
    EXPECT_TRUE(becomesShown(false));
    host_.startWatcher();
    EXPECT_TRUE(becomesShown());
    EXPECT_EQ(host_.registered().size(), round + 1);
  }
  EXPECT_THAT(shownChanges_, ElementsAre(true, false, true, false, true, false, true));
}

TEST_F(StatusNotifierItemTest, ABusThatReturnsShowsItAgain) {
  showIcon();
  daemon_.stop();
  EXPECT_TRUE(becomesShown(false));
  daemon_.start();
  loop_.runReady();
  loop_.queue.advance(60);
  EXPECT_TRUE(becomesShown());
  callItem("Activate", 1, 1);
  EXPECT_EQ(activations_.size(), 1u);
}

TEST_F(StatusNotifierItemTest, AWatcherWithoutATrayShowsNothingUntilThereIsOne) {
  host_.setTrayPresent(false);
  host_.startWatcher();
  makeIcon();
  ASSERT_TRUE(loop_.runUntil([&] { return !shownChanges_.empty(); }));
  EXPECT_FALSE(icon_->isShown());
  host_.setTrayPresent(true);
  EXPECT_TRUE(becomesShown());
  host_.setTrayPresent(false);
  EXPECT_TRUE(becomesShown(false));
}

TEST_F(StatusNotifierItemTest, AWatcherThatRefusesShowsNothing) {
  host_.refuseIcons();
  host_.startWatcher();
  makeIcon();
  EXPECT_TRUE(loop_.runUntil([&] { return !shownChanges_.empty(); }));
  EXPECT_THAT(shownChanges_, ElementsAre(false));
  EXPECT_EQ(host_.registered().size(), 1u);
}

TEST_F(StatusNotifierItemTest, LeavesTheBusWithItsOwner) {
  showIcon();
  icon_.reset();
  EXPECT_FALSE(host_.property(kItem, kItemPath, "Id"));
  host_.stopWatcher();
  loop_.runReady();
  EXPECT_THAT(shownChanges_, ElementsAre(true));
}

// The menu of one entry.

class TrayMenuTest : public StatusNotifierItemTest {
 protected:
  // The label of the root's only child in the layout; empty when it has none.
  std::string entryInLayout() {
    const auto answer = host_.call(kMenu, kMenuPath, "GetLayout", [](sd_bus_message* call) {
      sd_bus_message_append(call, "iias", 0, -1, 0);
    });
    if (!answer) return "(failed)";
    int32_t id = -1;
    revision_ = readUint32(answer.get()).value_or(0);
    EXPECT_GT(sd_bus_message_enter_container(answer.get(), 'r', "ia{sv}av"), 0);
    EXPECT_GT(sd_bus_message_read(answer.get(), "i", &id), 0);
    EXPECT_EQ(id, 0);
    EXPECT_GT(sd_bus_message_skip(answer.get(), "a{sv}"), 0);
    EXPECT_GT(sd_bus_message_enter_container(answer.get(), 'a', "v"), 0);
    if (!enterVariant(answer.get(), "(ia{sv}av)")) return {};
    EXPECT_GT(sd_bus_message_enter_container(answer.get(), 'r', "ia{sv}av"), 0);
    EXPECT_GT(sd_bus_message_read(answer.get(), "i", &id), 0);
    EXPECT_EQ(id, 1);
    EXPECT_GT(sd_bus_message_enter_container(answer.get(), 'a', "{sv}"), 0);
    EXPECT_GT(sd_bus_message_enter_container(answer.get(), 'e', "sv"), 0);
    EXPECT_EQ(readString(answer.get()), "label");
    EXPECT_TRUE(enterVariant(answer.get(), "s"));
    return readString(answer.get()).value_or("(none)");
  }
  BusMessageHandle sendEvent(int id, const char* kind) {
    return host_.call(kMenu, kMenuPath, "Event", [&](sd_bus_message* call) {
      sd_bus_message_append(call, "isvu", id, kind, "s", "", 0);
    });
  }

  uint32_t revision_ = 0;
};

TEST_F(TrayMenuTest, HasTheOneEntry) {
  showIcon();
  EXPECT_EQ(entryInLayout(), "Open Tovalin Host");
}

TEST_F(TrayMenuTest, ANewTextIsANewLayout) {
  showIcon();
  host_.countSignal(kMenu, "LayoutUpdated");
  entryInLayout();
  const uint32_t before = revision_;
  icon_->update({"one", "Waiting for a viewer…", "Open_it"});
  EXPECT_TRUE(loop_.runUntil([&] { return host_.signals("LayoutUpdated") == 1; }));
  EXPECT_EQ(entryInLayout(), "Open__it") << "an underscore marks no access key";
  EXPECT_GT(revision_, before);
  icon_->update({"one", "Waiting for a viewer…", ""});
  EXPECT_EQ(entryInLayout(), "");
}

TEST_F(TrayMenuTest, ChoosingTheEntryActivates) {
  showIcon();
  EXPECT_TRUE(sendEvent(1, "hovered"));
  EXPECT_TRUE(sendEvent(0, "clicked"));
  EXPECT_TRUE(sendEvent(7, "clicked"));
  EXPECT_TRUE(sendEvent(0, "opened"));
  EXPECT_THAT(activations_, IsEmpty());
  EXPECT_TRUE(sendEvent(1, "clicked"));
  EXPECT_THAT(activations_, ElementsAre(std::nullopt));
}

TEST_F(TrayMenuTest, EventsMayComeInGroups) {
  showIcon();
  const auto answer = host_.call(kMenu, kMenuPath, "EventGroup", [](sd_bus_message* call) {
    sd_bus_message_append(call, "a(isvu)", 3, 0, "opened", "s", "", 0, 1, "hovered", "i", 5, 0, 1,
                          "clicked", "s", "", 0);
  });
  EXPECT_TRUE(answer);
  EXPECT_THAT(activations_, ElementsAre(std::nullopt));
}

TEST_F(TrayMenuTest, PropertiesCanBeReadOneByOneAndTogether) {
  showIcon();
  const auto one = host_.call(kMenu, kMenuPath, "GetProperty", [](sd_bus_message* call) {
    sd_bus_message_append(call, "is", 1, "label");
  });
  ASSERT_TRUE(one && enterVariant(one.get(), "s"));
  EXPECT_EQ(readString(one.get()), "Open Tovalin Host");

  const auto group = host_.call(kMenu, kMenuPath, "GetGroupProperties", [](sd_bus_message* call) {
    sd_bus_message_append(call, "aias", 2, 1, 9, 0);
  });
  ASSERT_TRUE(group);
  ASSERT_GT(sd_bus_message_enter_container(group.get(), 'a', "(ia{sv})"), 0);
  int32_t id = 0;
  ASSERT_GT(sd_bus_message_enter_container(group.get(), 'r', "ia{sv}"), 0);
  EXPECT_GT(sd_bus_message_read(group.get(), "i", &id), 0);
  EXPECT_EQ(id, 1);
  sd_bus_message_skip(group.get(), "a{sv}");
  sd_bus_message_exit_container(group.get());
  EXPECT_EQ(sd_bus_message_at_end(group.get(), 0), 1) << "there is no entry 9";
}

TEST_F(TrayMenuTest, QuestionsAboutNothingAreRefused) {
  showIcon();
  EXPECT_FALSE(host_.call(kMenu, kMenuPath, "GetLayout", [](sd_bus_message* call) {
    sd_bus_message_append(call, "iias", 9, -1, 0);
  }));
  EXPECT_FALSE(host_.call(kMenu, kMenuPath, "GetProperty", [](sd_bus_message* call) {
    sd_bus_message_append(call, "is", 1, "icon-name");
  }));
}

TEST_F(TrayMenuTest, ShowingItNeedsNoUpdate) {
  showIcon();
  const auto answer = host_.call(kMenu, kMenuPath, "AboutToShow",
                                 [](sd_bus_message* call) { sd_bus_message_append(call, "i", 0); });
  ASSERT_TRUE(answer);
  EXPECT_EQ(readBool(answer.get()), false);
  EXPECT_TRUE(host_.call(kMenu, kMenuPath, "AboutToShowGroup",
                         [](sd_bus_message* call) { sd_bus_message_append(call, "ai", 1, 0); }));
  EXPECT_EQ(text(kMenu, kMenuPath, "Status"), "normal");
  EXPECT_EQ(text(kMenu, kMenuPath, "TextDirection"), "ltr");
}

}  // namespace
}  // namespace tovalin::test
