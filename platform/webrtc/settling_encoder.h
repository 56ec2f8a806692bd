#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/video_codecs/video_encoder.h>

#include <memory>

namespace tovalin {

// Encodes with `encoder`, but lets repeats of a settled picture go by: each costs half as much work
// as a picture that is new all over, and brings the viewer nothing. A repeat is a frame with an
// empty update rectangle. For VP8 encoders that are done when Encode() returns.
std::unique_ptr<webrtc::VideoEncoder> settling(std::unique_ptr<webrtc::VideoEncoder> encoder);

}  // namespace tovalin
