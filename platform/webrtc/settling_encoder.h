#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/video_codecs/video_encoder.h>

#include <memory>

#include "platform/webrtc/frame_trace.h"
#include "platform/webrtc/lean_libvpx.h"
#include "platform/webrtc/repeat_requests.h"

namespace tovalin {

// Encodes with `encoder`, and tells it through `order` which rows are worth its work: those that
// the frames' update rectangles cover, until they are sharp. Where the screen has scrolled, a frame
// that only moves what the viewer has goes ahead, and what is left of the picture follows. Repeats
// of a picture that is sharp all over go by; a repeat is a frame with an empty update rectangle.
// Asks for a repeat of a picture that came out coarse or not at all. For VP8 encoders that are done
// when Encode() returns.
std::unique_ptr<webrtc::VideoEncoder> settling(std::unique_ptr<webrtc::VideoEncoder> encoder,
                                               std::shared_ptr<PictureOrder> order,
                                               std::shared_ptr<RepeatRequests> repeats,
                                               std::shared_ptr<FrameTrace> trace);

}  // namespace tovalin
