#pragma once

#include "platform/webrtc/require_checks.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/rtc.h"
#include "platform/webrtc/peer_connection_link.h"
#include "platform/webrtc/rtc_engine.h"

namespace tovalin {

// A peer connection of the library. What needs no result is posted to the signalling thread, in
// order, so that the main thread does not wait for a negotiation step; making the connection, the
// data channel and closing are short waits. Destruction closes.
class WebRtcPeerConnection final : public RtcPeerConnection {
 public:
  // Empty when the library refuses the configuration.
  static std::shared_ptr<WebRtcPeerConnection> open(
      std::shared_ptr<RtcEngine> engine, const RtcConfiguration& configuration,
      std::weak_ptr<RtcPeerConnectionObserver> observer);
  ~WebRtcPeerConnection() override;

  void addTrack(std::shared_ptr<RtcVideoTrack> track,
                const std::vector<std::string>& streamIds) override;
  std::shared_ptr<RtcDataChannel> createDataChannel(const std::string& label) override;
  void makeOffer(OfferCompletion completion) override;
  void setLocalDescription(const SessionDescription& description) override;
  void setRemoteDescription(const SessionDescription& description,
                            DescriptionCompletion completion) override;
  void addIceCandidate(const IceCandidate& candidate) override;
  void close() override;

 private:
  WebRtcPeerConnection(std::shared_ptr<RtcEngine> engine, std::shared_ptr<PeerConnectionLink> link);

  // Runs on the signalling thread, unless the connection is closed by then.
  void post(std::function<void(PeerConnectionLink&)> operation);

  const std::shared_ptr<RtcEngine> engine_;
  const std::shared_ptr<PeerConnectionLink> link_;
};

}  // namespace tovalin
