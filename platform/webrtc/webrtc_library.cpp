#include "platform/webrtc/webrtc_library.h"

#include <api/video_codecs/video_decoder_factory_template.h>
#include <api/video_codecs/video_decoder_factory_template_libvpx_vp8_adapter.h>
#include <malloc.h>
#include <rtc_base/logging.h>
#include <rtc_base/ssl_adapter.h>

#include <utility>

#include "platform/fatal.h"
#include "platform/webrtc/network_interfaces.h"
#include "platform/webrtc/peer_connection.h"
#include "platform/webrtc/rtc_engine.h"
#include "platform/webrtc/video_encoders.h"
#include "platform/webrtc/video_track.h"

namespace tovalin {
namespace {

// The library's own decoders, but only of the one codec that is ever negotiated: its whole default
// set loads FFmpeg with some sixty libraries, which cost every host 10 MB and part of its start,
// and some of which are under the GPL. This side never decodes.
using VideoDecoders = webrtc::VideoDecoderFactoryTemplate<webrtc::LibvpxVp8DecoderTemplateAdapter>;

class WebRtcFactory final : public RtcPeerConnectionFactory {
 public:
  WebRtcFactory(std::unique_ptr<RtcVideoEncoderFactory> encoders, EncoderParts parts)
      : parts_(std::move(parts)),
        engine_(RtcEngine::start(bridgeEncoders(std::move(encoders)),
                                 std::make_unique<VideoDecoders>())) {}

  std::shared_ptr<RtcPeerConnection> createPeerConnection(
      const RtcConfiguration& configuration,
      std::weak_ptr<RtcPeerConnectionObserver> observer) override {
    chooseNetworks();
    return WebRtcPeerConnection::open(engine_, configuration, std::move(observer));
  }

  std::shared_ptr<RtcVideoSource> createVideoSource() override {
    auto source = std::make_shared<WebRtcVideoSource>(engine_, parts_.trace, parts_.reserve);
    parts_.repeats->add(source);
    return source;
  }

  std::shared_ptr<RtcVideoTrack> createVideoTrack(std::shared_ptr<RtcVideoSource> source,
                                                  const std::string& trackId) override {
    const auto ours = std::dynamic_pointer_cast<WebRtcVideoSource>(source);
    if (!ours) return nullptr;
    auto track = engine_->factory().CreateVideoTrack(trackId, &ours->native());
    if (!track) return nullptr;
    return std::make_shared<WebRtcVideoTrack>(engine_, std::move(track));
  }

 private:
  // The library leaves the loopback out, which is right as long as there is anything else: a
  // browser on this machine reaches the host under its outside address. Offline, the loopback is
  // the only way in.
  void chooseNetworks() {
    webrtc::PeerConnectionFactoryInterface::Options options;
    if (!thisMachineHasNetwork()) options.network_ignore_mask = 0;
    engine_->factory().SetOptions(options);
  }

  const EncoderParts parts_;
  const std::shared_ptr<RtcEngine> engine_;
};

class WebRtcLibrary final : public RtcLibrary {
 public:
  explicit WebRtcLibrary(const std::string& frameTraceFile)
      : parts_{std::make_shared<RepeatRequests>(), std::make_shared<FrameTrace>(frameTraceFile),
               std::make_shared<EncoderReserve>()} {
    rtc::LogMessage::LogToDebug(rtc::LS_NONE);
    // glibc goes over to keep freed blocks as large as those that come and go: pictures, here. That
    // was 23 MB of a visit, and 49 after it. So blocks of this size are always the system's own.
    constexpr int kOwnBlock = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, kOwnBlock);
  }

  void initializeSsl() override {
    if (!rtc::InitializeSSL()) fatal("SSL support cannot be initialised");
  }

  std::vector<VideoCodecInfo> vp8Codecs() const override { return libraryVp8Codecs(); }

  std::unique_ptr<RtcVideoEncoder> makeVp8Encoder() override {
    return makeLibraryVp8Encoder(parts_);
  }

  std::shared_ptr<RtcPeerConnectionFactory> makeFactory(
      std::unique_ptr<RtcVideoEncoderFactory> encoders) override {
    return std::make_shared<WebRtcFactory>(std::move(encoders), parts_);
  }

 private:
  const EncoderParts parts_;
};

}  // namespace

std::unique_ptr<RtcLibrary> makeWebRtcLibrary(const std::string& frameTraceFile) {
  return std::make_unique<WebRtcLibrary>(frameTraceFile);
}

}  // namespace tovalin
