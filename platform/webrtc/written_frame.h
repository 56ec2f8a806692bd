#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstdint>
#include <vector>

#include "platform/webrtc/block_move.h"

namespace tovalin {

// What a written frame is like; all but the quantiser as in the video that it is a part of.
struct WrittenFrameKind {
  unsigned width = 0;  // of the picture, in pixels
  unsigned height = 0;
  unsigned profile = 0;    // VP8's version, 0 to 3
  unsigned quantizer = 0;  // 0 to 127; changes no pixel, but viewers count what they read

  bool operator==(const WrittenFrameKind&) const = default;
};

// VP8 frames that no encoder made, for videos in which no frame relies on the segment map of
// another one. They take the place of what `frame` was, whose memory is used again. No probability
// of the decoder changes by them.

// Shows the picture before it once more, to the pixel. No reference of the decoder changes either,
// so that an encoder need not know of it. 200 bytes at 1920x1080.
void writeStillFrame(const WrittenFrameKind& kind, std::vector<uint8_t>& frame);

// Shows the picture before it with those macroblocks moved, and becomes the last frame: the encoder
// must go on from the same. Brightness moves to the pixel; colours are mixed of two rows each where
// the distance is odd, in the profiles 1 and 2 half and half, rounded up. 600 bytes at 1920x1080.
void writeMoveFrame(const WrittenFrameKind& kind, const BlockMove& move,
                    std::vector<uint8_t>& frame);

}  // namespace tovalin
