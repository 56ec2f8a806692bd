#include "platform/webrtc/peer_connection.h"

#include <utility>

#include "platform/webrtc/video_track.h"

namespace tovalin {
namespace {

using Native = webrtc::PeerConnectionInterface;

Native::RTCConfiguration nativeConfiguration(const RtcConfiguration& configuration) {
  Native::RTCConfiguration native;
  // A screencast is padded to 100 kbit/s unless told otherwise: on a static screen that is 45
  // packets a second, and as much work for the host as encoding its two pictures. Any other video
  // is not padded, and a screen recovers its bitrate by probing as well.
  native.screencast_min_bitrate = 0;
  native.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
  for (const IceServer& server : configuration.iceServers) {
    Native::IceServer& added = native.servers.emplace_back();
    added.urls = server.urls;
    added.username = server.username;
    added.password = server.credential;
  }
  return native;
}

}  // namespace

std::shared_ptr<WebRtcPeerConnection> WebRtcPeerConnection::open(
    std::shared_ptr<RtcEngine> engine, const RtcConfiguration& configuration,
    std::weak_ptr<RtcPeerConnectionObserver> observer) {
  auto link = std::make_shared<PeerConnectionLink>(engine, std::move(observer));
  if (!link->open(nativeConfiguration(configuration))) return nullptr;
  return std::shared_ptr<WebRtcPeerConnection>(
      new WebRtcPeerConnection(std::move(engine), std::move(link)));
}

WebRtcPeerConnection::WebRtcPeerConnection(std::shared_ptr<RtcEngine> engine,
                                           std::shared_ptr<PeerConnectionLink> link)
    : engine_(std::move(engine)), link_(std::move(link)) {}

WebRtcPeerConnection::~WebRtcPeerConnection() {
  auto closeLink = [link = link_] {
    link->fallSilent();
    link->close();
  };
  // The library does not bear a connection that goes while it is calling the observer.
  if (engine_->onSignalingThread()) {
    engine_->postSignaling(closeLink);
  } else {
    engine_->callSignaling(closeLink);
  }
}

void WebRtcPeerConnection::addTrack(std::shared_ptr<RtcVideoTrack> track,
                                    const std::vector<std::string>& streamIds) {
  const auto ours = std::dynamic_pointer_cast<WebRtcVideoTrack>(track);
  if (!ours) return;
  post([native = ours->native(), streamIds](PeerConnectionLink& link) {
    link.native().AddTrack(native, streamIds);
  });
}

std::shared_ptr<RtcDataChannel> WebRtcPeerConnection::createDataChannel(const std::string& label) {
  return engine_->callSignaling([&]() -> std::shared_ptr<RtcDataChannel> {
    webrtc::DataChannelInit orderedAndReliable;
    orderedAndReliable.ordered = true;
    auto result = link_->native().CreateDataChannelOrError(label, &orderedAndReliable);
    return result.ok() ? link_->adopt(result.MoveValue()) : nullptr;
  });
}

void WebRtcPeerConnection::makeOffer(OfferCompletion completion) {
  post([completion = std::move(completion)](PeerConnectionLink& link) {
    link.makeOffer(completion);
  });
}

void WebRtcPeerConnection::setLocalDescription(const SessionDescription& description) {
  post([description](PeerConnectionLink& link) { link.setLocalDescription(description); });
}

void WebRtcPeerConnection::setRemoteDescription(const SessionDescription& description,
                                                DescriptionCompletion completion) {
  post([description, completion = std::move(completion)](PeerConnectionLink& link) {
    link.setRemoteDescription(description, completion);
  });
}

void WebRtcPeerConnection::addIceCandidate(const IceCandidate& candidate) {
  post([candidate](PeerConnectionLink& link) { link.addIceCandidate(candidate); });
}

void WebRtcPeerConnection::close() {
  engine_->callSignaling([this] { link_->close(); });
}

void WebRtcPeerConnection::post(std::function<void(PeerConnectionLink&)> operation) {
  engine_->postSignaling([link = link_, operation = std::move(operation)] {
    if (!link->closed()) operation(*link);
  });
}

}  // namespace tovalin
