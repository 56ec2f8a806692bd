#include "peer/webrtc_process.h"

#include <utility>

#include "peer/vp8_only_encoder_factory.h"

namespace tovalin {

WebRTCProcess::WebRTCProcess(MainQueue& queue, SystemLog& log, RtcLibrary& library,
                             std::string stunHost)
    : queue_(queue), log_(log), library_(library), stunHost_(std::move(stunHost)) {}

std::string WebRTCProcess::stunUrl() const {
  return "stun:" + stunHost_ + ":19302";
}

std::shared_ptr<RtcPeerConnectionFactory> WebRTCProcess::factory() {
  if (!factory_) {
    library_.initializeSsl();
    factory_ = library_.makeFactory(std::make_unique<VP8OnlyEncoderFactory>(library_));
  }
  return factory_;
}

bool WebRTCProcess::claimFirstInput() {
  return !reportedFirstInput_.exchange(true);
}

}  // namespace tovalin
