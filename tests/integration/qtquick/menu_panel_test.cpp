#include <gmock/gmock.h>

#include <QAccessible>

#include "tests/integration/qtquick/desktop_fixture.h"

namespace tovalin::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

MenuContent ready() {
  return {.icon = "rectangle.on.rectangle",
          .openPanel = "Open Tovalin Host",
          .status = "Waiting for a viewer…",
          .permissions = {{Permission::screenRecording, true, "checkmark.circle.fill",
                           "Screen Recording", "so Tovalin can show this Mac on your phone", ""},
                          {Permission::accessibility, true, "checkmark.circle.fill",
                           "Accessibility", "so you can click and type from your phone", ""}},
          .connectPhone = "Connect your phone…",
          .connectPhoneSymbol = "qrcode",
          .advanced = "Advanced",
          .addressPlaceholder = "wss://…",
          .serverURL = "wss://signal.example/signal",
          .reconnect = "Reconnect",
          .startAtLogin = "Start at login",
          .launchAtLogin = true,
          .quit = "Quit Tovalin Host"};
}

MenuContent withEverything() {
  auto content = ready();
  content.status = "Server rejected this Mac — try Reconnect";
  content.viewerConnected = true;
  content.disconnectViewer = "Disconnect this viewer";
  for (auto& row : content.permissions) {
    row.granted = false;
    row.symbol = "circle";
    row.allow = "Allow…";
  }
  return content;
}

class MenuPanelTest : public DesktopFixture {
 protected:
  MenuPanelTest() {
    const auto press = [this](const std::string& name) {
      return [this, name] { pressed_.push_back(name); };
    };
    menu_ = windows_->makeMenu(
        {.opened = press("opened"),
         .disconnectViewer = press("disconnectViewer"),
         .allow =
             [this](Permission permission) {
               pressed_.push_back(permission == Permission::accessibility ? "allow accessibility"
                                                                          : "allow screen");
             },
         .connectPhone = press("connectPhone"),
         .editServerURL = [this](const std::string& url) { pressed_.push_back("edit " + url); },
         .reconnect = press("reconnect"),
         .setLaunchAtLogin =
             [this](bool on) { pressed_.emplace_back(on ? "login on" : "login off"); },
         .quit = press("quit")});
  }
  ~MenuPanelTest() override { menu_.reset(); }

  QQuickWindow& open(const MenuContent& content) {
    menu_->update(content);
    menu_->openPanel();
    EXPECT_TRUE(becomesTrue([this] {
      auto* window = windowTitled("Tovalin Host");
      return window != nullptr && window->isActive() && window->isExposed() &&
             client_.focus() == window->winId();
    })) << log_.lines().size();
    return *windowTitled("Tovalin Host");
  }
  static bool isOpen() { return windowTitled("Tovalin Host") != nullptr; }

  void press(QQuickWindow& window, const std::string& text) {
    auto* item = control(window, text);
    ASSERT_NE(item, nullptr) << text;
    const size_t before = pressed_.size();
    clickOn(*item);
    EXPECT_TRUE(becomesTrue([&] { return pressed_.size() > before; })) << text;
  }

  std::vector<std::string> pressed_;
  std::unique_ptr<Menu> menu_;
};

TEST_F(MenuPanelTest, OpensWithoutAWordInTheLog) {
  auto& window = open(withEverything());
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(window.width(), 260);
  EXPECT_THAT(pressed_, ElementsAre("opened"));
}

TEST_F(MenuPanelTest, EveryControlRunsItsAction) {
  auto& window = open(withEverything());
  pressed_.clear();
  press(window, "Disconnect this viewer");
  press(window, "Allow…");
  press(window, "Start at login");
  clickOn(*control(window, "Advanced"));
  ASSERT_TRUE(becomesTrue([&] { return control(window, "Reconnect") != nullptr; }));
  settledScreen();
  press(window, "Reconnect");
  press(window, "Quit Tovalin Host");
  press(window, "Connect your phone…");
  EXPECT_THAT(pressed_, ElementsAre("disconnectViewer", "allow screen", "login off", "reconnect",
                                    "quit", "connectPhone"));
  EXPECT_TRUE(becomesTrue([] { return !isOpen(); }));
}

TEST_F(MenuPanelTest, ToggleShowsWhatTheSystemSaysNotWhatWasPressed) {
  auto& window = open(ready());
  press(window, "Start at login");
  EXPECT_EQ(pressed_.back(), "login off");
  EXPECT_TRUE(control(window, "Start at login")->property("checked").toBool());
  auto content = ready();
  content.launchAtLogin = false;
  menu_->update(content);
  EXPECT_FALSE(control(window, "Start at login")->property("checked").toBool());
}

TEST_F(MenuPanelTest, WorksByKeyboardAlone) {
  auto& window = open(ready());
  std::vector<std::string> focused;
  const auto focusedText = [&window] {
    const auto* item = window.activeFocusItem();
    return item == nullptr ? std::string() : item->property("text").toString().toStdString();
  };
  for (int i = 0; i < 4; ++i) {
    const std::string before = focusedText();
    client_.type(kTabKey);
    ASSERT_TRUE(becomesTrue([&] { return focusedText() != before; })) << before;
    focused.push_back(focusedText());
  }
  EXPECT_THAT(focused, ElementsAre("Connect your phone…", "Advanced", "Start at login",
                                   "Quit Tovalin Host"));
  EXPECT_TRUE(window.activeFocusItem()->property("visualFocus").toBool());

  client_.type(kReturnKey);
  EXPECT_TRUE(becomesTrue([this] { return pressed_.back() == "quit"; }));
  client_.type(kTabKey, true);
  ASSERT_TRUE(becomesTrue([&] { return focusedText() == "Start at login"; }));
  client_.type(kSpaceKey);
  EXPECT_TRUE(becomesTrue([this] { return pressed_.back() == "login off"; }));
  client_.type(kTabKey, true);
  ASSERT_TRUE(becomesTrue([&] { return focusedText() == "Advanced"; }));
  client_.type(kReturnKey);
  EXPECT_TRUE(becomesTrue([&] { return control(window, "Reconnect") != nullptr; }));
  client_.type(kTabKey);
  ASSERT_TRUE(becomesTrue([&] { return focusedText() == "wss://signal.example/signal"; }));
  client_.type(kSpaceKey);
  EXPECT_TRUE(becomesTrue([this] { return pressed_.back().starts_with("edit "); }));
}

TEST_F(MenuPanelTest, TrayHasTheIconTheStatusAndTheEntry) {
  menu_->update(ready());
  EXPECT_EQ(trays_.content,
            (TrayContent{"rectangle.on.rectangle", "Waiting for a viewer…", "Open Tovalin Host"}));
  EXPECT_FALSE(menu_->hasTrayIcon());
  trays_.becomesShown(true);
  EXPECT_TRUE(menu_->hasTrayIcon());
}

TEST_F(MenuPanelTest, AClickOnTheTrayIconOpensThePanelBesideItAndAnotherClosesIt) {
  menu_->update(ready());
  trays_.click(TrayArea{600, 776, 24, 24});
  ASSERT_TRUE(becomesTrue([] { return isOpen() && windowTitled("Tovalin Host")->isActive(); }));
  const auto* window = windowTitled("Tovalin Host");
  EXPECT_EQ(window->x(), 612 - 130);
  EXPECT_EQ(window->y() + window->height(), 776 - 6);
  trays_.click(TrayArea{600, 776, 24, 24});
  EXPECT_TRUE(becomesTrue([] { return !isOpen(); }));
}

TEST_F(MenuPanelTest, ClosesOnEscape) {
  open(ready());
  client_.type(kEscapeKey);
  EXPECT_TRUE(becomesTrue([] { return !isOpen(); }));
}

TEST_F(MenuPanelTest, ClosesOnAClickElsewhere) {
  open(ready());
  settledScreen();
  client_.click(100, 700);
  EXPECT_TRUE(becomesTrue([] { return !isOpen(); }));
}

TEST_F(MenuPanelTest, ClosesWhenAnotherWindowTakesTheFocus) {
  open(ready());
  const auto other = client_.openWindow(0xFF, false);
  EXPECT_TRUE(becomesTrue([&] { return client_.activeWindow() == other; }));
  EXPECT_TRUE(becomesTrue([] { return !isOpen(); }));
}

TEST_F(MenuPanelTest, OpensAgainFoldedAndWithNothingInFocus) {
  auto& window = open(ready());
  clickOn(*control(window, "Advanced"));
  ASSERT_TRUE(becomesTrue([&] { return control(window, "Reconnect") != nullptr; }));
  client_.type(kEscapeKey);
  ASSERT_TRUE(becomesTrue([] { return !isOpen(); }));
  auto& again = open(ready());
  EXPECT_EQ(&again, &window);
  EXPECT_EQ(control(again, "Reconnect"), nullptr);
}

TEST_F(MenuPanelTest, NoTaskBarListsItHoweverOftenItOpens) {
  for (int i = 0; i < 2; ++i) {
    auto& window = open(ready());
    const auto id = static_cast<xcb_window_t>(window.winId());
    EXPECT_TRUE(becomesTrue([&] { return client_.hasState(id, "_NET_WM_STATE_SKIP_TASKBAR"); }));
    EXPECT_TRUE(becomesTrue([&] { return client_.hasState(id, "_NET_WM_STATE_ABOVE"); }));
    client_.type(kEscapeKey);
    ASSERT_TRUE(becomesTrue([] { return !isOpen(); }));
  }
}

TEST_F(MenuPanelTest, ShrinksAndGrowsWithItsRows) {
  auto& window = open(ready());
  const int small = window.height();
  menu_->update(withEverything());
  EXPECT_TRUE(becomesTrue([&] { return window.height() > small; }));
  menu_->update(ready());
  EXPECT_TRUE(becomesTrue([&] { return window.height() == small; }));
}

TEST_F(MenuPanelTest, EveryControlHasANameForAssistiveTechnology) {
  auto& window = open(withEverything());
  clickOn(*control(window, "Advanced"));
  ASSERT_TRUE(becomesTrue([&] { return control(window, "Reconnect") != nullptr; }));
  int controls = 0;
  for (QQuickItem* item : visibleItems(window)) {
    if (!item->activeFocusOnTab()) continue;
    auto* accessible = QAccessible::queryAccessibleInterface(item);
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << item->metaObject()->className();
    ++controls;
  }
  EXPECT_EQ(controls, 9);
}

TEST_F(MenuPanelTest, NoTextIsClippedWithAFortyPercentLargerFont) {
  for (const double factor : {1.0, 1.4}) {
    setFontScale(factor);
    auto& window = open(withEverything());
    clickOn(*control(window, "Advanced"));
    ASSERT_TRUE(becomesTrue([&] { return control(window, "Reconnect") != nullptr; }));
    settledScreen();
    EXPECT_THAT(clippedTexts(window), IsEmpty()) << factor;
    client_.type(kEscapeKey);
    ASSERT_TRUE(becomesTrue([] { return !isOpen(); }));
  }
}

}  // namespace
}  // namespace tovalin::test
