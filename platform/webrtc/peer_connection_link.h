#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/peer_connection_interface.h>

#include <functional>
#include <memory>
#include <vector>

#include "platform/rtc.h"
#include "platform/webrtc/data_channel.h"
#include "platform/webrtc/rtc_engine.h"

namespace tovalin {

// One connection of the library together with what it calls. Lives until the library is done with
// the connection, which may be after the port's object is gone. Signalling thread only, apart from
// construction and open().
class PeerConnectionLink final : public webrtc::PeerConnectionObserver,
                                 public std::enable_shared_from_this<PeerConnectionLink> {
 public:
  PeerConnectionLink(const std::shared_ptr<RtcEngine>& engine,
                     std::weak_ptr<RtcPeerConnectionObserver> observer);
  ~PeerConnectionLink() override;

  // False when the library refuses the configuration. Main thread.
  bool open(const webrtc::PeerConnectionInterface::RTCConfiguration& configuration);

  webrtc::PeerConnectionInterface& native() { return *native_; }
  bool closed() const { return closed_; }

  void makeOffer(RtcPeerConnection::OfferCompletion completion);
  void setLocalDescription(const SessionDescription& description);
  void setRemoteDescription(const SessionDescription& description,
                            RtcPeerConnection::DescriptionCompletion completion);
  void addIceCandidate(const IceCandidate& candidate);

  std::shared_ptr<WebRtcDataChannel> adopt(
      rtc::scoped_refptr<webrtc::DataChannelInterface> channel);

  // The observer hears nothing from now on, not even that the connection closes.
  void fallSilent() { observer_.reset(); }
  // The observer hears that the connection closed, then nothing more.
  void close();

 private:
  void OnSignalingChange(webrtc::PeerConnectionInterface::SignalingState) override {}
  void OnIceGatheringChange(webrtc::PeerConnectionInterface::IceGatheringState) override {}
  void OnIceConnectionChange(webrtc::PeerConnectionInterface::IceConnectionState state) override;
  void OnIceCandidate(const webrtc::IceCandidateInterface* candidate) override;
  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> channel) override;

  const std::weak_ptr<RtcEngine> engine_;
  std::weak_ptr<RtcPeerConnectionObserver> observer_;
  rtc::scoped_refptr<webrtc::PeerConnectionInterface> native_;
  std::vector<std::weak_ptr<WebRtcDataChannel>> channels_;
  bool closing_ = false;
  bool closed_ = false;
};

}  // namespace tovalin
