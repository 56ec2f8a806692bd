#include "tests/integration/webrtc/visit_fixture.h"

#include <chrono>
#include <span>
#include <utility>

#include "platform/webrtc/webrtc_library.h"
#include "tests/integration/webrtc/vp8_encoders.h"

namespace tovalin {

using namespace std::chrono_literals;

void HostObserver::iceConnectionChanged(IceConnectionState state) {
  if (duringIceChange) duringIceChange(state);
  board_.write([&] {
    notes.ice.push_back(state);
    ++notes.calls;
  });
}

void HostObserver::iceCandidateGenerated(const IceCandidate& candidate) {
  board_.write([&] {
    notes.candidates.push_back(candidate);
    ++notes.calls;
  });
}

void HostObserver::dataChannelOpened(std::shared_ptr<RtcDataChannel> channel) {
  if (listensToOpenedChannels) channel->setObserver(weak_from_this());
  board_.write([&] {
    notes.openedChannels.push_back(std::move(channel));
    ++notes.calls;
  });
}

void HostObserver::dataChannelStateChanged(RtcDataChannel& channel) {
  const DataChannelState state = channel.readyState();
  board_.write([&] {
    notes.channelStates.push_back(state);
    ++notes.calls;
  });
}

void HostObserver::dataChannelReceived(RtcDataChannel& channel, std::span<const uint8_t> message,
                                       bool binary) {
  if (duringMessage) duringMessage();
  board_.write([&] {
    notes.messages.push_back({channel.label(), {message.begin(), message.end()}, binary});
    ++notes.calls;
  });
}

VisitTest::VisitTest() : library_(makeWebRtcLibrary()) {
  library_->initializeSsl();
  factory_ = library_->makeFactory(std::make_unique<Vp8Encoders>(*library_));
}

void VisitTest::hostStarts(const RtcConfiguration& configuration) {
  host_ = std::make_shared<HostObserver>(board_);
  connection_ = factory_->createPeerConnection(configuration, host_);
  ASSERT_TRUE(connection_);
  source_ = factory_->createVideoSource();
  track_ = factory_->createVideoTrack(source_, "tovalin-screen");
  connection_->addTrack(track_, {"tovalin"});
  channel_ = connection_->createDataChannel("input");
  ASSERT_TRUE(channel_);
  channel_->setObserver(host_);
}

void VisitTest::viewerComes() {
  viewer_ = std::make_unique<ViewerPeer>(board_);
}

std::string VisitTest::hostOffers() {
  std::string sdp;
  bool done = false;
  connection_->makeOffer([&](std::optional<SessionDescription> offer, std::optional<Error> error) {
    EXPECT_FALSE(error) << error->description;
    board_.write([&] {
      sdp = offer ? offer->sdp : "";
      done = true;
    });
  });
  EXPECT_TRUE(board_.waitUntil([&] { return done; }));
  connection_->setLocalDescription({SdpType::offer, sdp});
  return sdp;
}

std::string VisitTest::hostRefuses(const std::string& answer) {
  std::string refusal;
  bool done = false;
  connection_->setRemoteDescription({SdpType::answer, answer}, [&](std::optional<Error> error) {
    board_.write([&] {
      if (error) refusal = error->description.empty() ? "no reason given" : error->description;
      done = true;
    });
  });
  EXPECT_TRUE(board_.waitUntil([&] { return done; }));
  return refusal;
}

bool VisitTest::trickleUntil(const std::function<bool()>& holds, std::chrono::milliseconds bound) {
  const auto end = std::chrono::steady_clock::now() + bound;
  while (std::chrono::steady_clock::now() < end) {
    std::vector<IceCandidate> fromHost;
    board_.write([&] { fromHost = std::exchange(host_->notes.candidates, {}); });
    for (const IceCandidate& candidate : fromHost) viewer_->addCandidate(candidate);
    for (const IceCandidate& candidate : viewer_->takeCandidates()) {
      connection_->addIceCandidate(candidate);
    }
    bool held = false;
    const bool woken = board_.waitUntil(
        [&] {
          held = holds();
          return held || !host_->notes.candidates.empty() || !viewer_->notes().candidates.empty();
        },
        std::chrono::duration_cast<std::chrono::milliseconds>(end -
                                                              std::chrono::steady_clock::now()));
    if (held) return true;
    if (!woken) return false;
  }
  return false;
}

void VisitTest::connect(const RtcConfiguration& configuration) {
  hostStarts(configuration);
  viewerComes();
  negotiate();
}

void VisitTest::negotiate() {
  const std::string answer = viewer_->answer(hostOffers());
  ASSERT_FALSE(answer.empty());
  ASSERT_EQ(hostRefuses(answer), "");
  ASSERT_TRUE(trickleUntil([&] {
    return viewer_->notes().connected && viewer_->notes().openChannels.contains("input") &&
           !host_->notes.channelStates.empty() &&
           host_->notes.channelStates.back() == DataChannelState::open;
  }));
}

void VisitTest::hostForgets() {
  channel_.reset();
  track_.reset();
  source_.reset();
  connection_.reset();
  host_.reset();
}

void VisitTest::show(const std::shared_ptr<TestPicture>& picture) {
  source_->push(
      picture,
      std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

bool VisitTest::showUntil(const std::shared_ptr<TestPicture>& picture,
                          const std::function<bool(const SeenPicture&)>& seen) {
  const auto end = std::chrono::steady_clock::now() + Noticeboard::kBound;
  while (std::chrono::steady_clock::now() < end) {
    show(picture);
    if (board_.waitUntil([&] { return seen(viewer_->notes().picture); }, 33ms)) return true;
  }
  return false;
}

}  // namespace tovalin
