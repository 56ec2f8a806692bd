#pragma once

#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "input/control_message_handler.h"
#include "peer/webrtc_process.h"
#include "platform/rtc.h"
#include "platform/shared_slot.h"
#include "signalling/signal_client.h"

namespace tovalin {

class WebRTCSession;

// What a session reports to and borrows from its owner.
class WebRTCSessionDelegate {
 public:
  virtual ~WebRTCSessionDelegate() = default;

  // The connection has become usable or was lost. May repeat itself. Main thread.
  virtual void webRTCSession(WebRTCSession& session, bool connected) = 0;

  // Through which the session signals, and where input goes; either may be empty. Called on the
  // media library's threads.
  virtual std::shared_ptr<SignalClient> signal() = 0;
  virtual std::shared_ptr<ControlMessageHandler> injector() = 0;
};

// One peer connection to one viewer, from the offer that this side always makes to close(). It
// sends the screen as one video track and receives input on one data channel.
//
// Main thread, but for push() and the observer callbacks. A session that could not start, or whose
// answer was rejected, stays as it is until its owner closes it.
class WebRTCSession : public RtcPeerConnectionObserver,
                      public RtcDataChannelObserver,
                      public std::enable_shared_from_this<WebRTCSession> {
  struct Passkey {};

 public:
  // Creates nothing yet. `extraIceServers` are the relay servers as the signalling server lists
  // them; they follow the default STUN server.
  static std::shared_ptr<WebRTCSession> create(std::shared_ptr<WebRTCProcess> process,
                                               std::vector<nlohmann::json> extraIceServers);
  WebRTCSession(Passkey, std::shared_ptr<WebRTCProcess> process,
                std::vector<nlohmann::json> extraIceServers);

  // Before start(), and not again: the library's threads read it from then on.
  void setDelegate(std::weak_ptr<WebRTCSessionDelegate> delegate);

  // Builds the connection and asks for the offer. Called once.
  void start();

  // Feeds one picture into the video track, stamped with the time of this call; dropped before
  // start() and after close(). Any thread.
  void push(const PixelBufferRef& pixelBuffer);

  // Applies an "answer" or an "ice" message; ignores every other and all that is malformed, save
  // that a candidate index beyond 32 bits ends the process.
  void handleSignal(const SignalMessage& message);

  // Tears everything down. Neither the delegate nor the viewer is told. Can be repeated.
  void close();

  // The usable entries, in order. Entries without a non-empty array of URL strings are left out.
  static std::vector<IceServer> parseIceServers(const std::vector<nlohmann::json>& list);

  // RtcPeerConnectionObserver
  void iceConnectionChanged(IceConnectionState state) override;
  void iceCandidateGenerated(const IceCandidate& candidate) override;
  void dataChannelOpened(std::shared_ptr<RtcDataChannel> channel) override;

  // RtcDataChannelObserver
  void dataChannelStateChanged(RtcDataChannel& channel) override;
  void dataChannelReceived(RtcDataChannel& channel, std::span<const uint8_t> message,
                           bool binary) override;

 private:
  void makeOffer();
  void offerMade(const SessionDescription& offer);
  void applyAnswer(const SignalMessage& message);
  void applyCandidate(const SignalMessage& message);
  void answerApplied(const std::optional<Error>& error);
  void useDataChannel(const std::shared_ptr<RtcDataChannel>& channel);
  std::shared_ptr<RtcDataChannel> dataChannel();
  void signal(const SignalMessage& message);
  void diagnose(std::string_view text);

  const std::shared_ptr<WebRTCProcess> process_;
  const std::vector<nlohmann::json> extraIceServers_;
  std::weak_ptr<WebRTCSessionDelegate> delegate_;
  std::shared_ptr<RtcVideoTrack> videoTrack_;
  // Written by start() and close(); read by the offer's completion and by the capture thread.
  SharedSlot<RtcPeerConnection> peerConnection_;
  SharedSlot<RtcVideoSource> videoSource_;
  // The last is the current one. Those that it replaced stay referenced, because input still counts
  // on whichever channel the viewer uses.
  std::mutex dataChannelsMutex_;
  std::vector<std::shared_ptr<RtcDataChannel>> dataChannels_;
};

}  // namespace tovalin
