#include "tests/integration/webrtc/viewer_peer.h"

#include "platform/webrtc/require_checks.h"

#include <api/jsep.h>
#include <api/make_ref_counted.h>
#include <api/set_local_description_observer_interface.h>
#include <api/set_remote_description_observer_interface.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/builtin_video_decoder_factory.h>
#include <api/video_codecs/video_decoder.h>
#include <libyuv/convert_argb.h>
#include <modules/video_coding/codecs/vp8/include/vp8.h>

#include <cstdlib>
#include <functional>
#include <utility>

#include "platform/webrtc/rtc_engine.h"
#include "platform/webrtc/video_encoders.h"
#include "platform/webrtc/webrtc_library.h"
#include "tests/integration/webrtc/vp8_encoders.h"

namespace tovalin {
namespace {

// Decodes as the library does, and shows each encoded picture.
class WatchedDecoder final : public webrtc::VideoDecoder {
 public:
  using Watch = std::function<void(const webrtc::EncodedImage&)>;

  explicit WatchedDecoder(Watch watch) : watch_(std::move(watch)) {}

  bool Configure(const Settings& settings) override { return decoder_->Configure(settings); }
  int32_t Decode(const webrtc::EncodedImage& image, bool missing, int64_t renderMs) override {
    watch_(image);
    return decoder_->Decode(image, missing, renderMs);
  }
  int32_t RegisterDecodeCompleteCallback(webrtc::DecodedImageCallback* callback) override {
    return decoder_->RegisterDecodeCompleteCallback(callback);
  }
  int32_t Release() override { return decoder_->Release(); }

 private:
  const Watch watch_;
  const std::unique_ptr<webrtc::VideoDecoder> decoder_ = webrtc::VP8Decoder::Create();
};

// Lists every codec that the library decodes, as a browser would: with a shorter list the library
// listens for error correction on payload types that were not agreed on.
class WatchedDecoders final : public webrtc::VideoDecoderFactory {
 public:
  explicit WatchedDecoders(WatchedDecoder::Watch watch) : watch_(std::move(watch)) {}

  std::vector<webrtc::SdpVideoFormat> GetSupportedFormats() const override {
    return builtin_->GetSupportedFormats();
  }
  std::unique_ptr<webrtc::VideoDecoder> CreateVideoDecoder(const webrtc::SdpVideoFormat&) override {
    return std::make_unique<WatchedDecoder>(watch_);
  }

 private:
  const WatchedDecoder::Watch watch_;
  const std::unique_ptr<webrtc::VideoDecoderFactory> builtin_ =
      webrtc::CreateBuiltinVideoDecoderFactory();
};

struct WatchedChannel final : public webrtc::DataChannelObserver {
  using Watch = std::function<void(const std::string& label)>;

  WatchedChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> watched, Watch whenOpen)
      : channel(std::move(watched)), whenOpen_(std::move(whenOpen)) {}

  void OnStateChange() override {
    if (channel->state() == webrtc::DataChannelInterface::kOpen) whenOpen_(channel->label());
  }
  void OnMessage(const webrtc::DataBuffer&) override {}

  const rtc::scoped_refptr<webrtc::DataChannelInterface> channel;

 private:
  const Watch whenOpen_;
};

class AnswerObserver : public webrtc::CreateSessionDescriptionObserver {
 public:
  explicit AnswerObserver(std::function<void(std::string)> done) : done_(std::move(done)) {}

  void OnSuccess(webrtc::SessionDescriptionInterface* created) override {
    const std::unique_ptr<webrtc::SessionDescriptionInterface> description(created);
    std::string sdp;
    description->ToString(&sdp);
    done_(sdp);
  }
  void OnFailure(webrtc::RTCError) override { done_({}); }

 private:
  const std::function<void(std::string)> done_;
};

class DescriptionObserver : public webrtc::SetRemoteDescriptionObserverInterface,
                            public webrtc::SetLocalDescriptionObserverInterface {
 public:
  explicit DescriptionObserver(std::function<void(bool)> done) : done_(std::move(done)) {}

  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override { done_(error.ok()); }
  void OnSetLocalDescriptionComplete(webrtc::RTCError error) override { done_(error.ok()); }

 private:
  const std::function<void(bool)> done_;
};

}  // namespace

Colour SeenPicture::at(int x, int y) const {
  const uint8_t* pixel =
      &bgra[4 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x))];
  return {pixel[2], pixel[1], pixel[0]};
}

bool SeenPicture::shows(int x, int y, Colour colour) const {
  constexpr int kTolerance = 14;
  if (x >= width || y >= height) return false;
  const Colour seen = at(x, y);
  return std::abs(seen.red - colour.red) <= kTolerance &&
         std::abs(seen.green - colour.green) <= kTolerance &&
         std::abs(seen.blue - colour.blue) <= kTolerance;
}

class ViewerPeer::Connection final : public webrtc::PeerConnectionObserver,
                                     public rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  using Native = webrtc::PeerConnectionInterface;

  explicit Connection(Noticeboard& board)
      : board_(board),
        library_(makeWebRtcLibrary()),
        engine_(RtcEngine::start(
            bridgeEncoders(std::make_unique<Vp8Encoders>(*library_)),
            std::make_unique<WatchedDecoders>([this](const auto& image) { note(image); }))) {
    webrtc::PeerConnectionFactoryInterface::Options options;
    options.network_ignore_mask = 0;
    engine_->factory().SetOptions(options);
    Native::RTCConfiguration configuration;
    configuration.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
    auto made = engine_->factory().CreatePeerConnectionOrError(
        configuration, webrtc::PeerConnectionDependencies(this));
    native_ = made.MoveValue();
  }

  ~Connection() override {
    if (track_) track_->RemoveSink(this);
    native_->Close();
    track_ = nullptr;
    for (const auto& watched : watchedChannels_) watched->channel->UnregisterObserver();
    watchedChannels_.clear();
    native_ = nullptr;
  }

  std::string answer(const std::string& offer) {
    auto parsed = webrtc::CreateSessionDescription(webrtc::SdpType::kOffer, offer);
    if (!parsed) return {};
    bool done = false;
    bool accepted = false;
    std::string sdp;
    const auto described = rtc::make_ref_counted<DescriptionObserver>([&](bool ok) {
      board_.write([&] {
        accepted = ok;
        done = true;
      });
    });
    native_->SetRemoteDescription(std::move(parsed), described);
    if (!board_.waitUntil([&] { return done; }) || !accepted) return {};
    done = false;
    const auto answered = rtc::make_ref_counted<AnswerObserver>([&](std::string made) {
      board_.write([&] {
        sdp = std::move(made);
        done = true;
      });
    });
    native_->CreateAnswer(answered.get(), Native::RTCOfferAnswerOptions());
    if (!board_.waitUntil([&] { return done; }) || sdp.empty()) return {};
    done = false;
    native_->SetLocalDescription(webrtc::CreateSessionDescription(webrtc::SdpType::kAnswer, sdp),
                                 described);
    if (!board_.waitUntil([&] { return done; }) || !accepted) return {};
    return sdp;
  }

  void addCandidate(const IceCandidate& candidate) {
    std::unique_ptr<webrtc::IceCandidateInterface> parsed(webrtc::CreateIceCandidate(
        candidate.sdpMid.value_or(""), candidate.sdpMLineIndex, candidate.candidate, nullptr));
    if (parsed) native_->AddIceCandidate(std::move(parsed), [](webrtc::RTCError) {});
  }

  std::vector<IceCandidate> takeCandidates() {
    std::vector<IceCandidate> taken;
    board_.write([&] { taken = std::exchange(notes_.candidates, {}); });
    return taken;
  }

  void openChannel(const std::string& label) {
    auto made = native_->CreateDataChannelOrError(label, nullptr);
    if (made.ok()) watch(made.MoveValue());
  }

  bool send(const std::string& label, const std::vector<uint8_t>& message, bool binary) {
    const auto channel = find(label);
    return channel && channel->Send(webrtc::DataBuffer(
                          rtc::CopyOnWriteBuffer(message.data(), message.size()), binary));
  }

  void askForKeyFrame() { track_->GetSource()->GenerateKeyFrame(); }

  const ViewerNotes& notes() const { return notes_; }

 private:
  rtc::scoped_refptr<webrtc::DataChannelInterface> find(const std::string& label) const {
    return board_.read([&]() -> rtc::scoped_refptr<webrtc::DataChannelInterface> {
      for (const auto& watched : watchedChannels_) {
        if (watched->channel->label() == label) return watched->channel;
      }
      return nullptr;
    });
  }

  void watch(rtc::scoped_refptr<webrtc::DataChannelInterface> channel) {
    auto watched = std::make_unique<WatchedChannel>(channel, [this](const std::string& label) {
      board_.write([&] { notes_.openChannels.insert(label); });
    });
    webrtc::DataChannelObserver* observer = watched.get();
    board_.write([&] { watchedChannels_.push_back(std::move(watched)); });
    channel->RegisterObserver(observer);
    observer->OnStateChange();
  }

  void note(const webrtc::EncodedImage& image) {
    board_.write([&] {
      notes_.minPlayoutDelaysMs.push_back(image.playout_delay_.min_ms);
      notes_.maxPlayoutDelaysMs.push_back(image.playout_delay_.max_ms);
      if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) ++notes_.keyFrames;
    });
  }

  void OnFrame(const webrtc::VideoFrame& frame) override {
    const auto i420 = frame.video_frame_buffer()->ToI420();
    SeenPicture seen{i420->width(), i420->height(), {}};
    seen.bgra.resize(4 * static_cast<size_t>(seen.width) * static_cast<size_t>(seen.height));
    libyuv::I420ToARGB(i420->DataY(), i420->StrideY(), i420->DataU(), i420->StrideU(),
                       i420->DataV(), i420->StrideV(), seen.bgra.data(), 4 * seen.width, seen.width,
                       seen.height);
    board_.write([&] {
      notes_.picture = std::move(seen);
      ++notes_.pictures;
    });
  }

  void OnSignalingChange(Native::SignalingState) override {}
  void OnIceGatheringChange(Native::IceGatheringState) override {}

  void OnConnectionChange(Native::PeerConnectionState state) override {
    board_.write([&] {
      if (state == Native::PeerConnectionState::kConnected) notes_.connected = true;
      if (state == Native::PeerConnectionState::kDisconnected ||
          state == Native::PeerConnectionState::kFailed) {
        notes_.disconnected = true;
      }
    });
  }

  void OnIceCandidate(const webrtc::IceCandidateInterface* candidate) override {
    IceCandidate made{{}, candidate->sdp_mline_index(), candidate->sdp_mid()};
    candidate->ToString(&made.candidate);
    board_.write([&] { notes_.candidates.push_back(made); });
  }

  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> channel) override {
    board_.write([&] { notes_.channels.push_back(channel->label()); });
    watch(std::move(channel));
  }

  void OnTrack(rtc::scoped_refptr<webrtc::RtpTransceiverInterface> transceiver) override {
    track_ = rtc::scoped_refptr<webrtc::VideoTrackInterface>(
        static_cast<webrtc::VideoTrackInterface*>(transceiver->receiver()->track().get()));
    track_->AddOrUpdateSink(this, rtc::VideoSinkWants());
    const auto streams = transceiver->receiver()->stream_ids();
    board_.write([&] {
      notes_.trackId = track_->id();
      notes_.streamIds = streams;
    });
  }

  Noticeboard& board_;
  ViewerNotes notes_;
  const std::unique_ptr<RtcLibrary> library_;
  const std::shared_ptr<RtcEngine> engine_;
  rtc::scoped_refptr<Native> native_;
  rtc::scoped_refptr<webrtc::VideoTrackInterface> track_;
  std::vector<std::unique_ptr<WatchedChannel>> watchedChannels_;
};

ViewerPeer::ViewerPeer(Noticeboard& board) : connection_(std::make_unique<Connection>(board)) {}
ViewerPeer::~ViewerPeer() = default;

std::string ViewerPeer::answer(const std::string& offer) {
  return connection_->answer(offer);
}
void ViewerPeer::addCandidate(const IceCandidate& candidate) {
  connection_->addCandidate(candidate);
}
std::vector<IceCandidate> ViewerPeer::takeCandidates() {
  return connection_->takeCandidates();
}
void ViewerPeer::openChannel(const std::string& label) {
  connection_->openChannel(label);
}
bool ViewerPeer::send(const std::string& label, const std::vector<uint8_t>& message, bool binary) {
  return connection_->send(label, message, binary);
}
void ViewerPeer::askForKeyFrame() {
  connection_->askForKeyFrame();
}
const ViewerNotes& ViewerPeer::notes() const {
  return connection_->notes();
}

}  // namespace tovalin
