#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/rtc.h"
#include "tests/integration/webrtc/noticeboard.h"
#include "tests/integration/webrtc/test_picture.h"
#include "tests/integration/webrtc/viewer_peer.h"

namespace tovalin {

struct ReceivedMessage {
  std::string label;
  std::string bytes;
  bool binary = false;

  bool operator==(const ReceivedMessage&) const = default;
};

// Everything the host's observers hear; read and awaited on the noticeboard.
struct HostNotes {
  std::vector<IceConnectionState> ice;
  std::vector<IceCandidate> candidates;  // not yet taken
  std::vector<std::shared_ptr<RtcDataChannel>> openedChannels;
  std::vector<DataChannelState> channelStates;
  std::vector<ReceivedMessage> messages;
  int calls = 0;
};

// Listens as a session does: also to every channel that the viewer opens.
class HostObserver final : public RtcPeerConnectionObserver,
                           public RtcDataChannelObserver,
                           public std::enable_shared_from_this<HostObserver> {
 public:
  explicit HostObserver(Noticeboard& board) : board_(board) {}

  HostNotes notes;  // guarded by the noticeboard
  std::atomic<bool> listensToOpenedChannels = true;
  std::function<void()> duringMessage;                      // set before messages flow
  std::function<void(IceConnectionState)> duringIceChange;  // set before negotiation

  void iceConnectionChanged(IceConnectionState state) override;
  void iceCandidateGenerated(const IceCandidate& candidate) override;
  void dataChannelOpened(std::shared_ptr<RtcDataChannel> channel) override;
  void dataChannelStateChanged(RtcDataChannel& channel) override;
  void dataChannelReceived(RtcDataChannel& channel, std::span<const uint8_t> message,
                           bool binary) override;

 private:
  Noticeboard& board_;
};

// One machine's host and its viewer, in one process.
class VisitTest : public testing::Test {
 protected:
  VisitTest();

  // The peer connection with screen and "input" channel, as a session makes it.
  void hostStarts(const RtcConfiguration& configuration = {});
  void viewerComes();
  // The offer, made and set as local description.
  std::string hostOffers();
  // Why the host refuses the answer; empty when it accepts.
  std::string hostRefuses(const std::string& answer);
  // Hands candidates over, both ways, until `holds` (asked under the noticeboard's lock).
  [[nodiscard]] bool trickleUntil(const std::function<bool()>& holds,
                                  std::chrono::milliseconds bound = Noticeboard::kBound);
  // From the offer to an open "input" channel on both sides.
  void negotiate();
  // The same from the start.
  void connect(const RtcConfiguration& configuration = {});
  void hostForgets();

  void show(const std::shared_ptr<TestPicture>& picture);
  // Shows the same picture again and again, as a host does on a static screen.
  [[nodiscard]] bool showUntil(const std::shared_ptr<TestPicture>& picture,
                               const std::function<bool(const SeenPicture&)>& seen);

  static std::vector<uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

  // Outlives everything that may still write to it.
  Noticeboard board_;
  std::unique_ptr<RtcLibrary> library_;
  std::shared_ptr<RtcPeerConnectionFactory> factory_;
  std::shared_ptr<HostObserver> host_;
  std::shared_ptr<RtcPeerConnection> connection_;
  std::shared_ptr<RtcVideoSource> source_;
  std::shared_ptr<RtcVideoTrack> track_;
  std::shared_ptr<RtcDataChannel> channel_;
  std::unique_ptr<ViewerPeer> viewer_;
};

}  // namespace tovalin
