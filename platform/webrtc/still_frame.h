#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstdint>
#include <vector>

namespace tovalin {

// What a still frame is like; all but the quantiser as in the video that it stands in.
struct StillFrameKind {
  unsigned width = 0;  // of the picture, in pixels
  unsigned height = 0;
  unsigned profile = 0;    // VP8's version, 0 to 3
  unsigned quantizer = 0;  // 0 to 127; changes no pixel, but viewers count what they read

  bool operator==(const StillFrameKind&) const = default;
};

// A VP8 frame that shows the picture before it once more, to the pixel, and leaves no trace:
// neither a reference nor a probability of the decoder changes, so that an encoder need not know of
// it. For videos in which no frame relies on the segment map of another one. 200 bytes at
// 1920x1080.
std::vector<uint8_t> stillFrame(const StillFrameKind& kind);

}  // namespace tovalin
