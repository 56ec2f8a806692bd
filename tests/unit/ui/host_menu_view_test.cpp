#include "ui/host_menu_view.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_windows.h"
#include "tests/unit/ui/fake_host.h"

namespace tovalin {
namespace {

using ::testing::ElementsAre;

class HostMenuViewTest : public ::testing::Test {
 protected:
  std::shared_ptr<fake::FakeHost> host_ = std::make_shared<fake::FakeHost>();
  fake::FakeWindows windows_;
  int phonesConnected_ = 0;
  HostMenuView menu_{windows_, host_, [this] { ++phonesConnected_; }};
};

TEST_F(HostMenuViewTest, ReadyHostShowsItsStatusAndTwoBareRows) {
  host_->startsAtLogin = true;
  host_->changes.notify();
  EXPECT_EQ(
      windows_.menu,
      (MenuContent{
          .icon = "rectangle.on.rectangle",
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
          .quit = "Quit Tovalin Host"}));
}

TEST_F(HostMenuViewTest, ConnectedViewerBringsTheDisconnectButton) {
  host_->statusText = "🟢 Viewer connected";
  host_->connected = true;
  host_->icon = "dot.radiowaves.left.and.right";
  host_->changes.notify();
  EXPECT_EQ(windows_.menu.status, "🟢 Viewer connected");
  EXPECT_TRUE(windows_.menu.viewerConnected);
  EXPECT_EQ(windows_.menu.disconnectViewer, "Disconnect this viewer");
  EXPECT_EQ(windows_.menu.icon, "dot.radiowaves.left.and.right");
}

TEST_F(HostMenuViewTest, MissingPermissionHasAnEmptyCircleAndAButton) {
  host_->inputGranted = false;
  host_->changes.notify();
  const auto& row = windows_.menu.permissions.at(1);
  EXPECT_FALSE(row.granted);
  EXPECT_EQ(row.symbol, "circle");
  EXPECT_EQ(row.allow, "Allow…");
  EXPECT_TRUE(windows_.menu.permissions.at(0).granted);
}

TEST_F(HostMenuViewTest, EachControlRunsItsOperation) {
  const auto& actions = windows_.menuActions;
  actions.opened();
  actions.disconnectViewer();
  actions.allow(Permission::screenRecording);
  actions.allow(Permission::accessibility);
  actions.editServerURL("wss://a");
  actions.reconnect();
  actions.setLaunchAtLogin(true);
  actions.setLaunchAtLogin(false);
  actions.quit();
  EXPECT_THAT(host_->calls,
              ElementsAre("refreshPermissions", "disconnectViewer", "requestScreenPermission",
                          "requestInputPermission", "setServerURL wss://a", "connectSignal",
                          "setLaunchAtLogin on", "setLaunchAtLogin off", "quit"));
  EXPECT_EQ(phonesConnected_, 0);
  actions.connectPhone();
  EXPECT_EQ(phonesConnected_, 1);
}

TEST_F(HostMenuViewTest, PanelIsOpenedForWantOfATrayOnly) {
  menu_.openPanelWithoutTray();
  EXPECT_EQ(windows_.panelsOpened, 0);
  windows_.trayIconShown = false;
  menu_.openPanelWithoutTray();
  EXPECT_EQ(windows_.panelsOpened, 1);
  windows_.trayIconShown = true;
  menu_.openPanel();
  EXPECT_EQ(windows_.panelsOpened, 2);
}

TEST_F(HostMenuViewTest, ControlsPressedAfterTheHostIsGoneDoNothing) {
  const std::weak_ptr<fake::FakeHost> host = host_;
  host_.reset();
  ASSERT_TRUE(host.expired()) << "the view must not keep the host alive";
  windows_.menuActions.opened();
  windows_.menuActions.allow(Permission::accessibility);
  windows_.menuActions.editServerURL("wss://a");
  windows_.menuActions.setLaunchAtLogin(true);
  windows_.menuActions.quit();
  EXPECT_EQ(phonesConnected_, 0);
}

}  // namespace
}  // namespace tovalin
