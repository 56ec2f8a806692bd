#include "peer/webrtc_session.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "platform/fatal.h"
#include "platform/weak_task.h"
#include "signalling/messages.h"

namespace tovalin {
namespace {

constexpr const char* kTrackId = "tovalin-screen";
constexpr const char* kStreamId = "tovalin";
constexpr const char* kDataChannelLabel = "input";

std::vector<std::string> urlsOf(const nlohmann::json& entry) {
  const auto urls = entry.find("urls");
  const auto isString = [](const nlohmann::json& url) { return url.is_string(); };
  if (urls == entry.end() || !urls->is_array()) return {};
  if (!std::all_of(urls->begin(), urls->end(), isString)) return {};
  return urls->get<std::vector<std::string>>();
}

// Only a media engine makes up candidates. An index beyond its own type is no candidate that could
// be skipped with a guess, but a sign that something else is talking.
int32_t narrowIndex(double index) {
  using Limits = std::numeric_limits<int32_t>;
  if (index < Limits::min() || index > Limits::max()) fatal("ICE candidate index beyond 32 bits");
  return static_cast<int32_t>(index);
}

std::optional<bool> meansConnected(IceConnectionState state) {
  switch (state) {
    case IceConnectionState::connected:
    case IceConnectionState::completed:
      return true;
    case IceConnectionState::failed:
    case IceConnectionState::disconnected:
    case IceConnectionState::closed:
      return false;
    case IceConnectionState::fresh:
    case IceConnectionState::checking:
      break;
  }
  return std::nullopt;
}

}  // namespace

std::shared_ptr<WebRTCSession> WebRTCSession::create(std::shared_ptr<WebRTCProcess> process,
                                                     std::vector<nlohmann::json> extraIceServers) {
  return std::make_shared<WebRTCSession>(Passkey{}, std::move(process), std::move(extraIceServers));
}

WebRTCSession::WebRTCSession(Passkey, std::shared_ptr<WebRTCProcess> process,
                             std::vector<nlohmann::json> extraIceServers)
    : process_(std::move(process)), extraIceServers_(std::move(extraIceServers)) {}

void WebRTCSession::setDelegate(std::weak_ptr<WebRTCSessionDelegate> delegate) {
  delegate_ = std::move(delegate);
}

void WebRTCSession::start() {
  const auto factory = process_->factory();
  RtcConfiguration configuration;
  configuration.iceServers.push_back({{process_->stunUrl()}, "", ""});
  for (auto& server : parseIceServers(extraIceServers_)) {
    configuration.iceServers.push_back(std::move(server));
  }
  const auto connection = factory->createPeerConnection(configuration, weak_from_this());
  if (!connection) {
    process_->log().line("[Tovalin] failed to create peer connection");
    return;
  }
  peerConnection_.store(connection);

  const auto source = factory->createVideoSource();
  videoSource_.store(source);
  videoTrack_ = factory->createVideoTrack(source, kTrackId);
  connection->addTrack(videoTrack_, {kStreamId});

  if (const auto channel = connection->createDataChannel(kDataChannelLabel)) {
    useDataChannel(channel);
  }
  makeOffer();
}

void WebRTCSession::push(const PixelBufferRef& pixelBuffer) {
  if (auto source = videoSource_.load()) {
    source->push(pixelBuffer, process_->queue().monotonicNs());
  }
}

void WebRTCSession::handleSignal(const SignalMessage& message) {
  const auto type = messageType(message);
  if (type == "answer") applyAnswer(message);
  if (type == "ice") applyCandidate(message);
}

void WebRTCSession::close() {
  if (auto channel = dataChannel()) channel->close();
  if (auto connection = peerConnection_.load()) connection->close();
  // Only now: until the connection is closed the viewer may still open a channel.
  std::vector<std::shared_ptr<RtcDataChannel>> released;
  {
    std::lock_guard lock(dataChannelsMutex_);
    released.swap(dataChannels_);
  }
  peerConnection_.store(nullptr);
  videoTrack_.reset();
  videoSource_.store(nullptr);
}

std::vector<IceServer> WebRTCSession::parseIceServers(const std::vector<nlohmann::json>& list) {
  std::vector<IceServer> servers;
  for (const auto& entry : list) {
    auto urls = urlsOf(entry);
    if (urls.empty()) continue;
    servers.push_back({std::move(urls), stringField(entry, "username").value_or(""),
                       stringField(entry, "credential").value_or("")});
  }
  return servers;
}

void WebRTCSession::makeOffer() {
  const auto connection = peerConnection_.load();
  if (!connection) return;
  // Not weakly(): a session that is gone by then is worth a line in the log.
  connection->makeOffer([weak = weak_from_this(), &log = process_->log()](
                            std::optional<SessionDescription> offer, std::optional<Error> error) {
    const auto self = weak.lock();
    if (self && offer) {
      self->offerMade(*offer);
    } else {
      log.line("[Tovalin] offer failed: " + (error ? error->description : "?"));
    }
  });
}

// Sent without waiting for the local description to take: candidates are gathered meanwhile.
void WebRTCSession::offerMade(const SessionDescription& offer) {
  if (auto connection = peerConnection_.load()) connection->setLocalDescription(offer);
  signal(offerMessage(offer.sdp));
}

void WebRTCSession::applyAnswer(const SignalMessage& message) {
  const auto sdp = stringField(message, "sdp");
  const auto connection = peerConnection_.load();
  if (!sdp || !connection) return;
  connection->setRemoteDescription({SdpType::answer, *sdp},
                                   weakly(shared_from_this(), [](WebRTCSession& self, auto error) {
                                     self.answerApplied(error);
                                   }));
}

void WebRTCSession::answerApplied(const std::optional<Error>& error) {
  if (!error) {
    diagnose("answer-accepted");
    return;
  }
  process_->log().line("[Tovalin] setRemote failed: " + error->description);
  diagnose("answer-REJECTED " + error->description);
}

void WebRTCSession::applyCandidate(const SignalMessage& message) {
  const auto candidate = stringField(message, "candidate");
  if (!candidate) return;
  const auto index = narrowIndex(wholeNumberField(message, "sdpMLineIndex").value_or(0));
  if (auto connection = peerConnection_.load()) {
    connection->addIceCandidate({*candidate, index, stringField(message, "sdpMid")});
  }
}

void WebRTCSession::iceConnectionChanged(IceConnectionState state) {
  diagnose("ice-state " + std::to_string(static_cast<int>(state)));
  const auto connected = meansConnected(state);
  if (!connected) return;
  process_->queue().post(weakly(shared_from_this(), [connected = *connected](WebRTCSession& self) {
    if (auto delegate = self.delegate_.lock()) delegate->webRTCSession(self, connected);
  }));
}

void WebRTCSession::iceCandidateGenerated(const IceCandidate& candidate) {
  signal(iceMessage(candidate));
}

void WebRTCSession::dataChannelOpened(std::shared_ptr<RtcDataChannel> channel) {
  useDataChannel(channel);
}

void WebRTCSession::dataChannelStateChanged(RtcDataChannel& channel) {
  diagnose("datachannel-" + channel.label() + "-state-" +
           std::to_string(static_cast<int>(channel.readyState())));
}

void WebRTCSession::dataChannelReceived(RtcDataChannel&, std::span<const uint8_t> message,
                                        bool /*binary*/) {
  if (process_->claimFirstInput()) {
    diagnose("first-input-received " + std::to_string(message.size()) + "B");
  }
  const auto delegate = delegate_.lock();
  if (!delegate) return;
  const std::string_view bytes(reinterpret_cast<const char*>(message.data()), message.size());
  const auto control = parseMessage(bytes);
  if (!control) return;
  if (auto injector = delegate->injector()) injector->handle(*control);
}

void WebRTCSession::useDataChannel(const std::shared_ptr<RtcDataChannel>& channel) {
  {
    std::lock_guard lock(dataChannelsMutex_);
    dataChannels_.push_back(channel);
  }
  channel->setObserver(weak_from_this());
}

std::shared_ptr<RtcDataChannel> WebRTCSession::dataChannel() {
  std::lock_guard lock(dataChannelsMutex_);
  return dataChannels_.empty() ? nullptr : dataChannels_.back();
}

void WebRTCSession::signal(const SignalMessage& message) {
  const auto delegate = delegate_.lock();
  if (!delegate) return;
  if (auto client = delegate->signal()) client->send(message);
}

void WebRTCSession::diagnose(std::string_view text) {
  signal(diagnosticMessage(text));
}

}  // namespace tovalin
