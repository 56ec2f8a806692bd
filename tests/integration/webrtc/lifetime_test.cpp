// Ends of every kind: closed, dropped, never used, in the midst of things.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/webrtc/webrtc_library.h"
#include "tests/integration/webrtc/visit_fixture.h"
#include "tests/integration/webrtc/vp8_encoders.h"

namespace tovalin {
namespace {

class LifetimeTest : public VisitTest {
 protected:
  int hostCalls() const {
    return board_.read([&] { return host_->notes.calls; });
  }

  // Joins every thread of the host's library: whatever was still to be called has been called.
  void hostEnds() {
    channel_.reset();
    track_.reset();
    source_.reset();
    connection_.reset();
    factory_.reset();
  }
};

TEST_F(LifetimeTest, NothingIsHeardAfterClose) {
  connect();
  ASSERT_TRUE(viewer_->send("input", bytes("before"), false));
  connection_->close();
  const int calls = hostCalls();
  for (int i = 0; i < 50; ++i) viewer_->send("input", bytes("after"), false);
  viewer_.reset();
  hostEnds();
  EXPECT_EQ(hostCalls(), calls);
}

TEST_F(LifetimeTest, ClosingTwiceTellsClosedOnce) {
  connect();
  connection_->close();
  connection_->close();
  board_.read(
      [&] { EXPECT_EQ(std::ranges::count(host_->notes.ice, IceConnectionState::closed), 1); });
}

TEST_F(LifetimeTest, AConnectionDroppedWithoutCloseIsSilentFromThenOn) {
  connect();
  const size_t states = board_.read([&] { return host_->notes.ice.size(); });
  connection_.reset();
  board_.read([&] { EXPECT_EQ(host_->notes.ice.size(), states); });
  EXPECT_EQ(channel_->readyState(), DataChannelState::closed);
}

TEST_F(LifetimeTest, AClosedConnectionIgnoresEverything) {
  hostStarts();
  const std::string offer = hostOffers();
  connection_->close();
  bool completed = false;
  connection_->makeOffer([&](auto, auto) { completed = true; });
  connection_->setLocalDescription({SdpType::offer, offer});
  connection_->setRemoteDescription({SdpType::answer, "nonsense"}, [&](auto) { completed = true; });
  connection_->addIceCandidate({"candidate:1 1 udp 1 127.0.0.1 9 typ host", 0, "0"});
  connection_->addTrack(track_, {"tovalin"});
  EXPECT_FALSE(connection_->createDataChannel("late"));
  hostEnds();
  EXPECT_FALSE(completed);
}

TEST_F(LifetimeTest, ClosingWhileTheOfferIsMadeCompletesAtMostOnce) {
  for (int round = 0; round < 10; ++round) {
    hostStarts();
    std::atomic<int> completions = 0;
    connection_->makeOffer([&](auto, auto) { ++completions; });
    connection_->close();
    const int atClose = completions;
    hostForgets();
    EXPECT_LE(atClose, 1);
    EXPECT_EQ(completions, atClose);
  }
}

TEST_F(LifetimeTest, ClosingWhileTheAnswerIsTakenCompletesAtMostOnce) {
  for (int round = 0; round < 10; ++round) {
    hostStarts();
    viewerComes();
    const std::string answer = viewer_->answer(hostOffers());
    std::atomic<int> completions = 0;
    connection_->setRemoteDescription({SdpType::answer, answer}, [&](auto) { ++completions; });
    connection_->close();
    const int atClose = completions;
    hostForgets();
    EXPECT_LE(atClose, 1);
    EXPECT_EQ(completions, atClose);
  }
}

TEST_F(LifetimeTest, TwentyVisitsOneAfterAnotherFromOneFactory) {
  for (int visit = 0; visit < 20; ++visit) {
    connect();
    ASSERT_FALSE(HasFatalFailure()) << "visit " << visit;
    ASSERT_TRUE(viewer_->send("input", bytes("hello"), false));
    ASSERT_TRUE(board_.waitUntil([&] { return !host_->notes.messages.empty(); }));
    channel_->close();
    connection_->close();
    hostForgets();
  }
}

TEST_F(LifetimeTest, ASecondVisitMayBeginWhileTheFirstIsStillOpen) {
  connect();
  const auto first = connection_;
  const auto firstHost = host_;
  const auto firstChannel = channel_;
  const auto firstViewer = std::move(viewer_);
  connect();
  ASSERT_TRUE(firstViewer->send("input", bytes("one"), false));
  ASSERT_TRUE(viewer_->send("input", bytes("two"), false));
  EXPECT_TRUE(board_.waitUntil(
      [&] { return firstHost->notes.messages.size() == 1 && host_->notes.messages.size() == 1; }));
}

TEST_F(LifetimeTest, AnObserverThatIsGoneIsNotCalled) {
  hostStarts();
  const std::weak_ptr<HostObserver> gone = host_;
  host_.reset();
  EXPECT_TRUE(gone.expired());
  viewerComes();
  const std::string answer = viewer_->answer(hostOffers());
  EXPECT_EQ(hostRefuses(answer), "");
}

TEST_F(LifetimeTest, CallbacksThatPostToTheMainThreadDoNotHoldUpClosing) {
  connect();
  std::mutex queue;
  std::vector<std::string> posted;
  std::promise<void> arrived;
  std::promise<void> closing;
  host_->duringMessage = [&] {
    arrived.set_value();
    closing.get_future().wait();
    std::lock_guard lock(queue);
    posted.push_back("from the callback");
  };
  ASSERT_TRUE(viewer_->send("input", bytes("x"), false));
  arrived.get_future().wait();
  closing.set_value();
  connection_->close();
  EXPECT_EQ(posted.size(), 1u);
}

TEST_F(LifetimeTest, ACallbackMayDropTheConnection) {
  hostStarts();
  viewerComes();
  bool dropped = false;  // guarded by the noticeboard
  host_->duringIceChange = [&](IceConnectionState state) {
    if (state != IceConnectionState::connected) return;
    channel_.reset();
    connection_.reset();
    board_.write([&] { dropped = true; });
  };
  const std::string answer = viewer_->answer(hostOffers());
  ASSERT_TRUE(board_.waitUntil([&] { return !viewer_->notes().candidates.empty(); }));
  for (const IceCandidate& candidate : viewer_->takeCandidates()) {
    connection_->addIceCandidate(candidate);
  }
  connection_->setRemoteDescription({SdpType::answer, answer}, [](auto) {});
  // The host hears of no more of the viewer's, for there may be no connection to tell; the viewer
  // hears of all of the host's, and of each of those it may be reached.
  for (bool done = false; !done;) {
    std::vector<IceCandidate> candidates;
    ASSERT_TRUE(board_.waitUntil([&] { return dropped || !host_->notes.candidates.empty(); }));
    board_.write([&] {
      candidates = std::exchange(host_->notes.candidates, {});
      done = dropped;
    });
    for (const IceCandidate& candidate : candidates) viewer_->addCandidate(candidate);
  }
}

TEST_F(LifetimeTest, ACallbackMayDropTheLastThingThereIs) {
  connect();
  std::promise<void> dropped;
  host_->duringMessage = [&] {
    hostEnds();
    dropped.set_value();
  };
  ASSERT_TRUE(viewer_->send("input", bytes("x"), false));
  EXPECT_EQ(dropped.get_future().wait_for(Noticeboard::kBound), std::future_status::ready);
}

TEST_F(LifetimeTest, PiecesMayOutliveTheirFactory) {
  connect();
  factory_.reset();
  library_.reset();
  ASSERT_TRUE(viewer_->send("input", bytes("x"), false));
  EXPECT_TRUE(board_.waitUntil([&] { return !host_->notes.messages.empty(); }));
  connection_.reset();
  channel_.reset();
  track_.reset();
  show(fourQuarters(64, 32));
}

TEST(WebRtcLibraryTest, CostsNothingWhenNeverUsed) {
  EXPECT_TRUE(makeWebRtcLibrary());
}

TEST(WebRtcLibraryTest, AFactoryThatMadeNothingEndsCleanly) {
  const auto library = makeWebRtcLibrary();
  library->initializeSsl();
  EXPECT_TRUE(library->makeFactory(std::make_unique<Vp8Encoders>(*library)));
}

TEST(WebRtcLibraryTest, SslMayBeInitialisedAgain) {
  const auto library = makeWebRtcLibrary();
  library->initializeSsl();
  library->initializeSsl();
  EXPECT_TRUE(library->makeFactory(std::make_unique<Vp8Encoders>(*library)));
}

}  // namespace
}  // namespace tovalin
