#pragma once

#include "platform/webrtc/require_checks.h"

#include <vpx/vp8.h>
#include <vpx/vpx_encoder.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/webrtc/block_move.h"

namespace tovalin {

// The last picture as the viewer's decoder and a VP8 encoder of libvpx's have it. Frames that are
// written beside the encoder change it here, and the encoder gets it before it goes on. Only for
// use while the encoder's last frame is not at the same time another one of its references, which
// would change as well. Not thread-safe.
class ReferencePicture {
 public:
  struct Plane {
    uint8_t* pixels = nullptr;
    int stride = 0;  // the width as well
    int height = 0;
    int block = 0;  // rows and columns of a macroblock
  };

  // What is here is no longer the last picture: the encoder has made one, or there is another one.
  void forget() { state_ = State::unknown; }
  // From the encoder, unless it is here. False if libvpx refuses.
  bool fetch(vpx_codec_ctx_t* encoder, unsigned width, unsigned height);
  // To the encoder, if it has changed here. False if libvpx refuses.
  bool give(vpx_codec_ctx_t* encoder);
  // Once it is here. What a decoder makes of FrameWriter::move() in profile 1 or 2.
  void move(const BlockMove& move);

  // Brightness and the two colours, to the ends of the last macroblocks. Whoever writes a frame
  // that changes them says so.
  const std::array<Plane, 3>& planes() const { return planes_; }
  void hasChanged() { state_ = State::changed; }

 private:
  enum class State { unknown, shared, changed };

  vpx_ref_frame_t wrapped();
  static void movePlane(const Plane& plane, const BlockMove& move, int columns);

  unsigned width_ = 0;  // of whole macroblocks
  unsigned height_ = 0;
  State state_ = State::unknown;
  std::vector<uint8_t> pixels_;
  std::array<Plane, 3> planes_;
};

}  // namespace tovalin
