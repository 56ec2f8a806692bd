#include <unistd.h>

#include "tests/integration/x11_input/becomes_true.h"
#include "tests/integration/x11_input/x11_input_fixture.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;

class X11ServerLossTest : public testing::Test {
 protected:
  X11ServerLossTest() { signal(SIGPIPE, SIG_IGN); }

  void startServer() { server.emplace("1280x720x24", std::vector<std::string>{display}); }
  void postOneOfEach() {
    input->post(MouseEvent{MouseEventType::moved, {5, 6}});
    input->post(MouseEvent{MouseEventType::leftDown, {5, 6}});
    input->post(MouseEvent{MouseEventType::leftUp, {5, 6}});
    input->post(ScrollEvent{1});
    input->post(KeyboardEvent{0, true, kFlagShift, {}});
    input->post(KeyboardEvent{0, false, kFlagShift, {}});
    input->post(KeyboardEvent{0, true, 0, u"a日"});
    input->post(KeyboardEvent{0, false, 0, u"a日"});
  }
  bool connects() {
    return becomesTrue([this] { return input->bounds(0).width == 1280; });
  }

  // Of our own choice, so that the next server can have it again; far from what servers choose.
  const std::string display = ":" + std::to_string(2000 + getpid() % 50000);
  std::optional<Xvfb> server;
  fake::FakeSystemLog log;
  std::unique_ptr<InputEvents> input = makeX11InputEvents(log, display);
};

TEST_F(X11ServerLossTest, EverythingIsSkippedWithoutAServer) {
  EXPECT_EQ(input->mainDisplay(), 0u);
  EXPECT_EQ(input->bounds(0), Rect{});
  postOneOfEach();
  input->settle();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] input: no X server"));
}

TEST_F(X11ServerLossTest, AServerThatComesLaterIsFound) {
  startServer();
  ASSERT_TRUE(connects());
  WatchingClient watcher(display);
  input->post(MouseEvent{MouseEventType::moved, {5, 6}});
  watcher.eventsUntil([](const SeenEvent& event) { return event.x == 5 && event.y == 6; });
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] input: no X server",
                                       "[Tovalin] input: connected to the X server"));
}

TEST_F(X11ServerLossTest, AServerThatDiesIsBorneAndTheNextOneUsed) {
  startServer();
  ASSERT_TRUE(connects());
  postOneOfEach();
  input->post(KeyboardEvent{0, true, kFlagShift, {}});
  server->kill();
  postOneOfEach();
  input->settle();
  EXPECT_TRUE(becomesTrue([this] { return input->bounds(0) == Rect{}; }));

  startServer();
  ASSERT_TRUE(connects());
  WatchingClient watcher(display);
  postOneOfEach();
  std::string text;
  for (const auto& event : watcher.eventsUntil([](const SeenEvent& event) {
         return event.type == XCB_KEY_RELEASE && event.detail == 8;
       })) {
    text += event.text;
  }
  EXPECT_EQ(text, "Aa日");
  EXPECT_EQ(log.count("[Tovalin] input: the X server is gone"), 1);
}

TEST_F(X11ServerLossTest, DestructionBearsADeadServer) {
  startServer();
  ASSERT_TRUE(connects());
  postOneOfEach();
  server->kill();
  input.reset();
}

TEST(X11WithoutXtestTest, EventsAreSkippedAndBoundsKnown) {
  Xvfb server("1280x720x24", {"-extension", "XTEST"});
  fake::FakeSystemLog log;
  const auto input = makeX11InputEvents(log, server.display());
  EXPECT_EQ(input->bounds(input->mainDisplay()), (Rect{0, 0, 1280, 720}));
  input->post(MouseEvent{MouseEventType::moved, {5, 6}});
  input->post(KeyboardEvent{0, true, 0, u"a"});
  input->settle();
  EXPECT_THAT(log.lines(), ElementsAre("[Tovalin] input: the X server has no XTEST extension"));
}

}  // namespace
}  // namespace tovalin::test
