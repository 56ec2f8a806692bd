#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/video_codecs/video_encoder.h>
#include <api/video_codecs/video_encoder_factory.h>

#include <memory>
#include <vector>

#include "platform/rtc.h"
#include "platform/webrtc/encoder_reserve.h"
#include "platform/webrtc/frame_trace.h"
#include "platform/webrtc/repeat_requests.h"

namespace tovalin {

// The library's VP8 encoder, tuned to screens. Any thread.
struct EncoderParts {
  std::shared_ptr<RepeatRequests> repeats;
  std::shared_ptr<FrameTrace> trace;
  std::shared_ptr<EncoderReserve> reserve;
};
std::unique_ptr<webrtc::VideoEncoder> makeScreenVp8Encoder(EncoderParts parts);

// What it reports of itself, and a new one as the port knows it. Any thread.
std::vector<VideoCodecInfo> libraryVp8Codecs();
std::unique_ptr<RtcVideoEncoder> makeLibraryVp8Encoder(EncoderParts parts);

// Offers the port's encoder factory to the library. An encoder that this adapter did not make
// counts as none.
std::unique_ptr<webrtc::VideoEncoderFactory> bridgeEncoders(
    std::unique_ptr<RtcVideoEncoderFactory> encoders);

}  // namespace tovalin
