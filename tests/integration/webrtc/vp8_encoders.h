#pragma once

#include <memory>
#include <vector>

#include "platform/rtc.h"

namespace tovalin {

// Offers the library's VP8 and nothing else.
class Vp8Encoders final : public RtcVideoEncoderFactory {
 public:
  explicit Vp8Encoders(RtcLibrary& library) : library_(library) {}

  std::vector<VideoCodecInfo> supportedCodecs() const override { return library_.vp8Codecs(); }
  std::unique_ptr<RtcVideoEncoder> createEncoder(const VideoCodecInfo&) override {
    return library_.makeVp8Encoder();
  }

 private:
  RtcLibrary& library_;
};

}  // namespace tovalin
