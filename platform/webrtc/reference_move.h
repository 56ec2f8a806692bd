#pragma once

#include "platform/webrtc/require_checks.h"

#include <vpx/vpx_encoder.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/webrtc/block_move.h"

namespace tovalin {

// Makes a VP8 encoder of libvpx's go on from its last picture as a move has left it: what a decoder
// makes of the frame that writeMoveFrame() writes in profile 1 or 2. Not thread-safe.
class ReferenceMove {
 public:
  // Only where the encoder's last frame is not at the same time another one of its references,
  // which would be moved as well. False, and nothing is moved, if libvpx refuses.
  bool apply(vpx_codec_ctx_t* encoder, unsigned width, unsigned height, const BlockMove& move);

  // Gives the memory of a picture back, which is kept from one move to the next.
  void release() { pixels_ = {}; }

 private:
  struct Plane {
    uint8_t* pixels;
    int stride;
    int height;
    int block;  // its rows and columns of a macroblock
  };

  static void movePlane(const Plane& plane, const BlockMove& move, int columns);

  std::vector<uint8_t> pixels_;
};

}  // namespace tovalin
