#include <limits>

#include "tests/integration/x11_input/becomes_true.h"
#include "tests/integration/x11_input/screen_client.h"
#include "tests/integration/x11_input/x11_input_fixture.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

class X11PointerTest : public X11InputTest {
 protected:
  std::pair<int, int> pointerAfterMoveTo(double x, double y) {
    movePointer(x, y);
    const auto isMotion = [](const SeenEvent& event) { return event.type == XCB_MOTION_NOTIFY; };
    watcher.eventsUntil(isMotion);
    return watcher.pointer();
  }

  std::vector<std::pair<int, int>> seenPresses() {
    std::vector<std::pair<int, int>> presses;
    for (const auto& event : seenButtons()) presses.emplace_back(event.type, event.detail);
    return presses;
  }
};

TEST_F(X11PointerTest, BoundsAreTheMainDisplays) {
  EXPECT_NE(input->mainDisplay(), 0u);
  EXPECT_EQ(input->bounds(input->mainDisplay()), (Rect{0, 0, 1280, 720}));
}

TEST_F(X11PointerTest, MovesGoToTheExactPixel) {
  EXPECT_THAT(pointerAfterMoveTo(321, 123), Pair(321, 123));
  EXPECT_THAT(pointerAfterMoveTo(640.4, 359.6), Pair(640, 360));
}

TEST_F(X11PointerTest, EveryCornerIsReachedAndNothingBeyond) {
  EXPECT_THAT(pointerAfterMoveTo(0, 0), Pair(0, 0));
  EXPECT_THAT(pointerAfterMoveTo(1280, 0), Pair(1279, 0));
  EXPECT_THAT(pointerAfterMoveTo(1280, 720), Pair(1279, 719));
  EXPECT_THAT(pointerAfterMoveTo(0, 720), Pair(0, 719));
  EXPECT_THAT(pointerAfterMoveTo(1e9, -1e9), Pair(1279, 0));
}

TEST_F(X11PointerTest, DragsMoveWithTheButtonHeld) {
  mouse(MouseEventType::leftDown, MouseButton::left, 100, 100);
  movePointer(200, 150, MouseEventType::leftDragged);
  mouse(MouseEventType::leftUp, MouseButton::left, 200, 150);
  const auto events = seen();
  const auto dragged = std::ranges::find_if(events, [](const SeenEvent& event) {
    return event.type == XCB_MOTION_NOTIFY && event.x == 200 && event.y == 150;
  });
  ASSERT_NE(dragged, events.end());
  EXPECT_TRUE(dragged->state & XCB_BUTTON_MASK_1);
  EXPECT_EQ(events.back().type, XCB_BUTTON_RELEASE);
}

TEST_F(X11PointerTest, ButtonsAreLeftCenterAndRight) {
  mouse(MouseEventType::leftDown, MouseButton::left, 10, 10);
  mouse(MouseEventType::leftUp, MouseButton::left, 10, 10);
  mouse(MouseEventType::rightDown, MouseButton::right, 10, 10);
  mouse(MouseEventType::rightUp, MouseButton::right, 10, 10);
  mouse(MouseEventType::otherDown, MouseButton::center, 10, 10);
  mouse(MouseEventType::otherUp, MouseButton::center, 10, 10);
  EXPECT_THAT(seenPresses(), ElementsAre(Pair(XCB_BUTTON_PRESS, 1), Pair(XCB_BUTTON_RELEASE, 1),
                                         Pair(XCB_BUTTON_PRESS, 3), Pair(XCB_BUTTON_RELEASE, 3),
                                         Pair(XCB_BUTTON_PRESS, 2), Pair(XCB_BUTTON_RELEASE, 2)));
}

TEST_F(X11PointerTest, ButtonsHappenAtTheirPositionWhoeverMovedThePointerSince) {
  movePointer(400, 300);
  xcb_warp_pointer(watcher.connection(), XCB_NONE, watcher.root(), 0, 0, 0, 0, 50, 50);
  EXPECT_THAT(watcher.pointer(), Pair(50, 50));
  mouse(MouseEventType::leftDown, MouseButton::left, 400, 300);
  mouse(MouseEventType::leftUp, MouseButton::left, 400, 300);
  for (const auto& event : seenButtons()) EXPECT_THAT(std::pair(event.x, event.y), Pair(400, 300));
}

TEST_F(X11PointerTest, PositiveLinesTurnTheWheelUpAndNegativeDown) {
  scroll(2);
  scroll(-1);
  scroll(0);
  EXPECT_THAT(seenPresses(), ElementsAre(Pair(XCB_BUTTON_PRESS, 4), Pair(XCB_BUTTON_RELEASE, 4),
                                         Pair(XCB_BUTTON_PRESS, 4), Pair(XCB_BUTTON_RELEASE, 4),
                                         Pair(XCB_BUTTON_PRESS, 5), Pair(XCB_BUTTON_RELEASE, 5)));
}

TEST_F(X11PointerTest, HugeScrollsAreBounded) {
  for (const int32_t lines :
       {std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min(), 101}) {
    scroll(lines);
    EXPECT_EQ(seenButtons().size(), 200u) << "a press and a release for each of 100 clicks";
  }
}

TEST_F(X11PointerTest, BoundsFollowAResize) {
  ScreenClient(server.display()).resize(800, 600);
  EXPECT_TRUE(becomesTrue([this] {
    return input->bounds(input->mainDisplay()) == Rect{0, 0, 800, 600};
  }));
  EXPECT_THAT(pointerAfterMoveTo(1280, 720), Pair(799, 599));
}

TEST_F(X11PointerTest, DisplayIdentifierOfBeforeAnyServerStandsForTheMainDisplay) {
  EXPECT_EQ(input->bounds(0), (Rect{0, 0, 1280, 720}));
}

// Without RandR there are no outputs to ask for.
TEST(X11PointerWithoutRandrTest, BoundsAreTheRootWindows) {
  Xvfb server("640x480x24", {"-extension", "RANDR"});
  fake::FakeSystemLog log;
  const auto input = makeX11InputEvents(log, server.display());
  EXPECT_EQ(input->bounds(input->mainDisplay()), (Rect{0, 0, 640, 480}));
}

TEST_F(X11PointerTest, EventsReachAServerThatAnotherProgramHolds) {
  X11Connection holder(server.display());
  xcb_grab_server(holder.get());
  free(xcb_get_input_focus_reply(holder.get(), xcb_get_input_focus(holder.get()), nullptr));
  movePointer(77, 88);
  mouse(MouseEventType::leftDown, MouseButton::left, 77, 88);
  mouse(MouseEventType::leftUp, MouseButton::left, 77, 88);
  // The holder is the only one that may ask meanwhile.
  const auto position = [&holder] {
    const auto reply = XcbOwned<xcb_query_pointer_reply_t>(xcb_query_pointer_reply(
        holder.get(), xcb_query_pointer(holder.get(), holder.root()), nullptr));
    return std::pair<int, int>(reply->root_x, reply->root_y);
  };
  EXPECT_TRUE(becomesTrue([&] { return position() == std::pair(77, 88); }));
  xcb_ungrab_server(holder.get());
  xcb_flush(holder.get());
  EXPECT_EQ(seenButtons().size(), 2u);
}

}  // namespace
}  // namespace tovalin::test
