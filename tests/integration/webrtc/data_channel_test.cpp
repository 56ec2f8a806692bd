// Messages from the viewer to the host.

#include <gmock/gmock.h>

#include <future>
#include <string>
#include <vector>

#include "tests/integration/webrtc/visit_fixture.h"

namespace tovalin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DataChannelTest : public VisitTest {
 protected:
  [[nodiscard]] bool hostReceives(size_t messages) {
    return board_.waitUntil([&] { return host_->notes.messages.size() >= messages; });
  }
};

TEST_F(DataChannelTest, TextAndBinaryMessagesArriveInOrder) {
  connect();
  ASSERT_TRUE(viewer_->send("input", bytes("{\"t\":\"m\"}"), false));
  ASSERT_TRUE(viewer_->send("input", {0, 255, 7}, true));
  ASSERT_TRUE(viewer_->send("input", {}, false));
  ASSERT_TRUE(hostReceives(3));
  board_.read([&] {
    EXPECT_THAT(host_->notes.messages,
                ElementsAre(ReceivedMessage{"input", "{\"t\":\"m\"}", false},
                            ReceivedMessage{"input", std::string("\x00\xff\x07", 3), true},
                            ReceivedMessage{"input", "", false}));
  });
}

TEST_F(DataChannelTest, ALongMessageArrivesWhole) {
  connect();
  const std::string text(200'000, 'x');
  ASSERT_TRUE(viewer_->send("input", bytes(text), false));
  ASSERT_TRUE(hostReceives(1));
  board_.read([&] { EXPECT_EQ(host_->notes.messages.front().bytes, text); });
}

TEST_F(DataChannelTest, TheHostsChannelIsNamedAndOpens) {
  hostStarts();
  EXPECT_EQ(channel_->label(), "input");
  EXPECT_EQ(channel_->readyState(), DataChannelState::connecting);
  hostForgets();
  connect();
  EXPECT_EQ(channel_->readyState(), DataChannelState::open);
  board_.read([&] {
    EXPECT_THAT(viewer_->notes().channels, ElementsAre("input"));
    EXPECT_THAT(host_->notes.channelStates, ElementsAre(DataChannelState::open));
    EXPECT_THAT(host_->notes.openedChannels, IsEmpty());
  });
}

TEST_F(DataChannelTest, AChannelOpenedByTheViewerIsReportedAndCarriesMessages) {
  connect();
  viewer_->openChannel("mine");
  ASSERT_TRUE(board_.waitUntil([&] { return !host_->notes.openedChannels.empty(); }));
  const auto opened = board_.read([&] { return host_->notes.openedChannels.front(); });
  EXPECT_EQ(opened->label(), "mine");
  EXPECT_EQ(opened->readyState(), DataChannelState::open);
  ASSERT_TRUE(board_.waitUntil([&] { return viewer_->notes().openChannels.contains("mine"); }));
  ASSERT_TRUE(viewer_->send("mine", bytes("hello"), false));
  ASSERT_TRUE(viewer_->send("input", bytes("there"), false));
  ASSERT_TRUE(hostReceives(2));
  board_.read([&] {
    EXPECT_THAT(host_->notes.messages,
                testing::UnorderedElementsAre(ReceivedMessage{"mine", "hello", false},
                                              ReceivedMessage{"input", "there", false}));
  });
}

TEST_F(DataChannelTest, MessagesWaitForTheFirstObserver) {
  connect();
  host_->listensToOpenedChannels = false;
  viewer_->openChannel("mine");
  ASSERT_TRUE(board_.waitUntil([&] { return viewer_->notes().openChannels.contains("mine"); }));
  ASSERT_TRUE(viewer_->send("mine", bytes("early"), false));
  ASSERT_TRUE(viewer_->send("input", bytes("later"), false));
  ASSERT_TRUE(hostReceives(1));
  const auto opened = board_.read([&] { return host_->notes.openedChannels.front(); });
  opened->setObserver(host_);
  ASSERT_TRUE(hostReceives(2));
  board_.read([&] {
    EXPECT_EQ(host_->notes.messages.back(), (ReceivedMessage{"mine", "early", false}));
  });
}

TEST_F(DataChannelTest, AnObserverThatIsGoneIsNotCalled) {
  connect();
  const auto second = std::make_shared<HostObserver>(board_);
  auto first = std::make_shared<HostObserver>(board_);
  channel_->setObserver(first);
  first.reset();
  ASSERT_TRUE(viewer_->send("input", bytes("lost"), false));
  viewer_->openChannel("marker");  // opens after the message was delivered
  ASSERT_TRUE(board_.waitUntil([&] { return !host_->notes.openedChannels.empty(); }));
  channel_->setObserver(second);
  ASSERT_TRUE(viewer_->send("input", bytes("heard"), false));
  ASSERT_TRUE(board_.waitUntil([&] { return !second->notes.messages.empty(); }));
  board_.read([&] {
    EXPECT_THAT(second->notes.messages, ElementsAre(ReceivedMessage{"input", "heard", false}));
  });
}

TEST_F(DataChannelTest, AClosedChannelDeliversNothingMore) {
  connect();
  channel_->close();
  const size_t before = board_.read([&] { return host_->notes.messages.size(); });
  viewer_->send("input", bytes("late"), false);
  ASSERT_TRUE(board_.waitUntil([&] {
    return !host_->notes.channelStates.empty() &&
           host_->notes.channelStates.back() == DataChannelState::closed;
  }));
  EXPECT_EQ(board_.read([&] { return host_->notes.messages.size(); }), before);
  channel_->close();
}

TEST_F(DataChannelTest, ClosingDuringAMessageWaitsForItsEndAndNoLonger) {
  connect();
  std::promise<void> arrived;
  std::promise<void> mayEnd;
  host_->duringMessage = [&] {
    arrived.set_value();
    mayEnd.get_future().wait();
  };
  ASSERT_TRUE(viewer_->send("input", bytes("one"), false));
  arrived.get_future().wait();
  mayEnd.set_value();
  connection_->close();
  board_.read([&] { EXPECT_EQ(host_->notes.messages.size(), 1u); });
}

}  // namespace
}  // namespace tovalin
