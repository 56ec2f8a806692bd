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

TEST_F(HostMenuViewTest, ShowsTheStateItStartsWith) {
  EXPECT_EQ(windows_.menu, (MenuContent{"rectangle.on.rectangle", "Waiting for a viewer…", false}));
}

TEST_F(HostMenuViewTest, FollowsEveryChange) {
  host_->statusText = "🟢 Viewer connected";
  host_->connected = true;
  host_->icon = "dot.radiowaves.left.and.right";
  host_->changes.notify();
  EXPECT_EQ(windows_.menu,
            (MenuContent{"dot.radiowaves.left.and.right", "🟢 Viewer connected", true}));
}

TEST_F(HostMenuViewTest, EachControlRunsItsOperation) {
  windows_.menuActions.disconnectViewer();
  windows_.menuActions.reconnect();
  windows_.menuActions.quit();
  windows_.menuActions.connectPhone();
  EXPECT_THAT(host_->calls, ElementsAre("disconnectViewer", "connectSignal", "quit"));
  EXPECT_EQ(phonesConnected_, 1);
}

}  // namespace
}  // namespace tovalin
