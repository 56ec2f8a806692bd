#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstdint>
#include <span>
#include <vector>

#include "platform/webrtc/block_move.h"
#include "platform/webrtc/coefficient_coder.h"

namespace tovalin {

// What a written frame is like; the profile as in the video that it is a part of.
struct WrittenFrameKind {
  unsigned width = 0;  // of the picture, in pixels
  unsigned height = 0;
  unsigned profile = 0;    // VP8's version, 0 to 3
  unsigned quantizer = 0;  // 0 to 127; without coefficients it changes no pixel, but viewers count
                           // what they read

  bool operator==(const WrittenFrameKind&) const = default;
};

// Writes VP8 frames that no encoder made, for videos in which no frame relies on the segment map of
// another one. They take the place of what `frame` was, whose memory is used again. No probability
// of the decoder changes by them, and no reference but the last frame. Keeps its memory from one
// frame to the next. Not thread-safe.
class FrameWriter {
 public:
  using Bytes = std::vector<uint8_t>;

  // Shows the picture before it once more, to the pixel. Not even the last frame changes by it, so
  // that an encoder need not know of it. 200 bytes at 1920x1080.
  void still(const WrittenFrameKind& kind, Bytes& frame);

  // Shows the picture before it with those macroblocks moved, and becomes the last frame: the
  // encoder must go on from the same. Brightness moves to the pixel; colours are mixed of two rows
  // each where the distance is odd, in the profiles 1 and 2 half and half, rounded up. 600 bytes at
  // 1920x1080.
  void move(const WrittenFrameKind& kind, const BlockMove& move, Bytes& frame);

  // The same, or without a move if that is null, with those macroblocks, in rising order, coded on
  // top of it at the quantiser that MacroblockCoder has. No filter smooths it.
  void patch(const WrittenFrameKind& kind, const BlockMove* move,
             std::span<const CodedMacroblock> blocks, Bytes& frame);

 private:
  // Null: nothing moves.
  void write(const WrittenFrameKind& kind, const BlockMove* move,
             std::span<const CodedMacroblock> blocks, bool becomesLast, Bytes& frame);

  std::vector<uint8_t> modes_;  // of each macroblock
  CoefficientCoder coefficients_;
};

}  // namespace tovalin
