#pragma once

#include "platform/rtc.h"

namespace tovalin {

// Makes VP8 the one video codec that this host can send: the offer lists nothing else, so a viewer
// cannot negotiate anything else. Stateless; any thread.
class VP8OnlyEncoderFactory : public RtcVideoEncoderFactory {
 public:
  // `library` outlives the factory.
  explicit VP8OnlyEncoderFactory(RtcLibrary& library);

  // As the library describes its VP8 encoder, unchanged; empty when it has none.
  std::vector<VideoCodecInfo> supportedCodecs() const override;
  // A new VP8 encoder, whatever `codec` says: nothing else was ever on offer.
  std::unique_ptr<RtcVideoEncoder> createEncoder(const VideoCodecInfo& codec) override;

 private:
  RtcLibrary& library_;
};

}  // namespace tovalin
