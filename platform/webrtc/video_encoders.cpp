#include "platform/webrtc/video_encoders.h"

#include <api/video_codecs/sdp_video_format.h>
#include <api/video_codecs/video_encoder.h>
#include <api/video_codecs/video_encoder_factory_template_libvpx_vp8_adapter.h>
#include <modules/video_coding/codecs/vp8/libvpx_vp8_encoder.h>

#include <utility>

#include "platform/webrtc/lean_libvpx.h"
#include "platform/webrtc/settling_encoder.h"

namespace tovalin {
namespace {

class LibraryEncoder final : public RtcVideoEncoder {
 public:
  explicit LibraryEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder)
      : encoder_(std::move(encoder)) {}

  std::unique_ptr<webrtc::VideoEncoder> release() { return std::move(encoder_); }

 private:
  std::unique_ptr<webrtc::VideoEncoder> encoder_;
};

class EncoderFactoryBridge final : public webrtc::VideoEncoderFactory {
 public:
  explicit EncoderFactoryBridge(std::unique_ptr<RtcVideoEncoderFactory> encoders)
      : encoders_(std::move(encoders)) {}

  std::vector<webrtc::SdpVideoFormat> GetSupportedFormats() const override {
    std::vector<webrtc::SdpVideoFormat> formats;
    for (const VideoCodecInfo& codec : encoders_->supportedCodecs()) {
      formats.emplace_back(codec.name, codec.parameters);
    }
    return formats;
  }

  std::unique_ptr<webrtc::VideoEncoder> CreateVideoEncoder(
      const webrtc::SdpVideoFormat& format) override {
    const auto encoder = encoders_->createEncoder({format.name, format.parameters});
    auto* ours = dynamic_cast<LibraryEncoder*>(encoder.get());
    return ours == nullptr ? nullptr : ours->release();
  }

 private:
  const std::unique_ptr<RtcVideoEncoderFactory> encoders_;
};

}  // namespace

std::unique_ptr<webrtc::VideoEncoder> makeScreenVp8Encoder(EncoderParts parts) {
  auto order = std::make_shared<PictureOrder>();
  auto encoder = std::make_unique<webrtc::LibvpxVp8Encoder>(
      leanLibvpx(order, std::move(parts.reserve)), webrtc::VP8Encoder::Settings());
  return settling(std::move(encoder), std::move(order), std::move(parts.repeats),
                  std::move(parts.trace));
}

std::vector<VideoCodecInfo> libraryVp8Codecs() {
  std::vector<VideoCodecInfo> codecs;
  for (const auto& format : webrtc::LibvpxVp8EncoderTemplateAdapter::SupportedFormats()) {
    codecs.push_back({format.name, format.parameters});
  }
  return codecs;
}

std::unique_ptr<RtcVideoEncoder> makeLibraryVp8Encoder(EncoderParts parts) {
  return std::make_unique<LibraryEncoder>(makeScreenVp8Encoder(std::move(parts)));
}

std::unique_ptr<webrtc::VideoEncoderFactory> bridgeEncoders(
    std::unique_ptr<RtcVideoEncoderFactory> encoders) {
  return std::make_unique<EncoderFactoryBridge>(std::move(encoders));
}

}  // namespace tovalin
