#include "platform/webrtc/peer_connection_link.h"

#include <api/jsep.h>
#include <api/make_ref_counted.h>
#include <api/set_local_description_observer_interface.h>
#include <api/set_remote_description_observer_interface.h>

#include <optional>
#include <string>
#include <utility>

namespace tovalin {
namespace {

using Native = webrtc::PeerConnectionInterface;

static_assert(int{Native::kIceConnectionNew} == static_cast<int>(IceConnectionState::fresh));
static_assert(int{Native::kIceConnectionChecking} ==
              static_cast<int>(IceConnectionState::checking));
static_assert(int{Native::kIceConnectionConnected} ==
              static_cast<int>(IceConnectionState::connected));
static_assert(int{Native::kIceConnectionCompleted} ==
              static_cast<int>(IceConnectionState::completed));
static_assert(int{Native::kIceConnectionFailed} == static_cast<int>(IceConnectionState::failed));
static_assert(int{Native::kIceConnectionDisconnected} ==
              static_cast<int>(IceConnectionState::disconnected));
static_assert(int{Native::kIceConnectionClosed} == static_cast<int>(IceConnectionState::closed));

webrtc::SdpType nativeType(SdpType type) {
  return type == SdpType::offer ? webrtc::SdpType::kOffer : webrtc::SdpType::kAnswer;
}

// Keep in mind of every completion below: the library calls it while it works on the connection,
// and a closed connection completes nothing.
class OfferObserver : public webrtc::CreateSessionDescriptionObserver {
 public:
  OfferObserver(std::weak_ptr<PeerConnectionLink> link,
                RtcPeerConnection::OfferCompletion completion)
      : link_(std::move(link)), completion_(std::move(completion)) {}

  void OnSuccess(webrtc::SessionDescriptionInterface* created) override {
    const std::unique_ptr<webrtc::SessionDescriptionInterface> description(created);
    SessionDescription offer{SdpType::offer, {}};
    if (!description || !description->ToString(&offer.sdp)) return complete({}, {});
    complete(std::move(offer), {});
  }

  void OnFailure(webrtc::RTCError error) override { complete({}, Error{error.message()}); }

 private:
  void complete(std::optional<SessionDescription> offer, std::optional<Error> error) {
    const auto link = link_.lock();
    if (link && !link->closed()) completion_(std::move(offer), std::move(error));
  }

  const std::weak_ptr<PeerConnectionLink> link_;
  const RtcPeerConnection::OfferCompletion completion_;
};

class LocalDescriptionObserver : public webrtc::SetLocalDescriptionObserverInterface {
 public:
  void OnSetLocalDescriptionComplete(webrtc::RTCError) override {}
};

class RemoteDescriptionObserver : public webrtc::SetRemoteDescriptionObserverInterface {
 public:
  RemoteDescriptionObserver(std::weak_ptr<PeerConnectionLink> link,
                            RtcPeerConnection::DescriptionCompletion completion)
      : link_(std::move(link)), completion_(std::move(completion)) {}

  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override {
    const auto link = link_.lock();
    if (!link || link->closed()) return;
    completion_(error.ok() ? std::nullopt : std::optional(Error{error.message()}));
  }

 private:
  const std::weak_ptr<PeerConnectionLink> link_;
  const RtcPeerConnection::DescriptionCompletion completion_;
};

}  // namespace

PeerConnectionLink::PeerConnectionLink(const std::shared_ptr<RtcEngine>& engine,
                                       std::weak_ptr<RtcPeerConnectionObserver> observer)
    : engine_(engine), observer_(std::move(observer)) {}

PeerConnectionLink::~PeerConnectionLink() {
  // While this is still an observer: the library may call it to the end.
  native_ = nullptr;
}

bool PeerConnectionLink::open(const Native::RTCConfiguration& configuration) {
  auto result = engine_.lock()->factory().CreatePeerConnectionOrError(
      configuration, webrtc::PeerConnectionDependencies(this));
  if (!result.ok()) return false;
  native_ = result.MoveValue();
  return true;
}

void PeerConnectionLink::makeOffer(RtcPeerConnection::OfferCompletion completion) {
  const auto observer =
      rtc::make_ref_counted<OfferObserver>(weak_from_this(), std::move(completion));
  native_->CreateOffer(observer.get(), Native::RTCOfferAnswerOptions());
}

void PeerConnectionLink::setLocalDescription(const SessionDescription& description) {
  auto parsed = webrtc::CreateSessionDescription(nativeType(description.type), description.sdp);
  if (!parsed) return;
  native_->SetLocalDescription(std::move(parsed),
                               rtc::make_ref_counted<LocalDescriptionObserver>());
}

void PeerConnectionLink::setRemoteDescription(const SessionDescription& description,
                                              RtcPeerConnection::DescriptionCompletion completion) {
  webrtc::SdpParseError error;
  auto parsed =
      webrtc::CreateSessionDescription(nativeType(description.type), description.sdp, &error);
  if (!parsed) {
    completion(
        Error{"Failed to parse SessionDescription. " + error.line + " " + error.description});
    return;
  }
  native_->SetRemoteDescription(std::move(parsed), rtc::make_ref_counted<RemoteDescriptionObserver>(
                                                       weak_from_this(), std::move(completion)));
}

void PeerConnectionLink::addIceCandidate(const IceCandidate& candidate) {
  std::unique_ptr<webrtc::IceCandidateInterface> parsed(
      webrtc::CreateIceCandidate(candidate.sdpMid.value_or(std::string()), candidate.sdpMLineIndex,
                                 candidate.candidate, nullptr));
  if (parsed) native_->AddIceCandidate(std::move(parsed), [](webrtc::RTCError) {});
}

std::shared_ptr<WebRtcDataChannel> PeerConnectionLink::adopt(
    rtc::scoped_refptr<webrtc::DataChannelInterface> channel) {
  const auto engine = engine_.lock();
  if (!engine) return nullptr;
  auto adopted = WebRtcDataChannel::wrap(engine, std::move(channel));
  std::erase_if(channels_, [](const auto& known) { return known.expired(); });
  channels_.push_back(adopted);
  return adopted;
}

void PeerConnectionLink::close() {
  if (std::exchange(closing_, true)) return;
  native_->Close();
  closed_ = true;
  fallSilent();
  for (const auto& channel : channels_) {
    if (const auto alive = channel.lock()) alive->fallSilent();
  }
}

// The library reports two ICE states. This one also waits for the encryption handshake before it
// says connected, so that "connected" means that pictures and input can flow, and it says closed
// when the connection is closed from here; the other, the browsers' own, does neither.
void PeerConnectionLink::OnIceConnectionChange(Native::IceConnectionState state) {
  if (closed_) return;
  if (const auto observer = observer_.lock()) {
    observer->iceConnectionChanged(static_cast<IceConnectionState>(state));
  }
}

void PeerConnectionLink::OnIceCandidate(const webrtc::IceCandidateInterface* candidate) {
  const auto observer = observer_.lock();
  if (closed_ || !observer) return;
  IceCandidate generated;
  if (!candidate->ToString(&generated.candidate)) return;
  generated.sdpMLineIndex = candidate->sdp_mline_index();
  generated.sdpMid = candidate->sdp_mid();
  observer->iceCandidateGenerated(generated);
}

void PeerConnectionLink::OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> channel) {
  const auto observer = observer_.lock();
  if (closed_ || !observer) return;
  if (const auto adopted = adopt(std::move(channel))) observer->dataChannelOpened(adopted);
}

}  // namespace tovalin
