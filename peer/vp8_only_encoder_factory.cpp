#include "peer/vp8_only_encoder_factory.h"

namespace tovalin {

VP8OnlyEncoderFactory::VP8OnlyEncoderFactory(RtcLibrary& library) : library_(library) {}

std::vector<VideoCodecInfo> VP8OnlyEncoderFactory::supportedCodecs() const {
  return library_.vp8Codecs();
}

std::unique_ptr<RtcVideoEncoder> VP8OnlyEncoderFactory::createEncoder(const VideoCodecInfo&) {
  return library_.makeVp8Encoder();
}

}  // namespace tovalin
