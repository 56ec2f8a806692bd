#include "platform/webrtc/reference_move.h"

#include <libyuv/planar_functions.h>
#include <vpx/vp8.h>

#include <cstring>

namespace tovalin {
bool ReferenceMove::apply(vpx_codec_ctx_t* encoder, unsigned width, unsigned height,
                          const BlockMove& move) {
  // With what libvpx has beyond the picture's own edges, to the end of the last macroblock.
  const int columns = blocksAlong(static_cast<int>(width));
  const int rows = blocksAlong(static_cast<int>(height));
  const auto wholeWidth = static_cast<unsigned>(columns * kBlock);
  const auto wholeHeight = static_cast<unsigned>(rows * kBlock);
  pixels_.resize(std::size_t{wholeWidth} * wholeHeight * 3 / 2);
  vpx_ref_frame_t last{};
  last.frame_type = VP8_LAST_FRAME;
  constexpr unsigned kNoPadding = 1;
  if (vpx_img_wrap(&last.img, VPX_IMG_FMT_I420, wholeWidth, wholeHeight, kNoPadding,
                   pixels_.data()) == nullptr ||
      vpx_codec_control(encoder, VP8_COPY_REFERENCE, &last) != VPX_CODEC_OK) {
    return false;
  }
  for (int i = 0; i < 3; ++i) {
    const int size = i == 0 ? kBlock : kBlock / 2;
    movePlane({last.img.planes[i], last.img.stride[i], rows * size, size}, move, columns);
  }
  return vpx_codec_control(encoder, VP8_SET_REFERENCE, &last) == VPX_CODEC_OK;
}

void ReferenceMove::movePlane(const Plane& plane, const BlockMove& move, int columns) {
  // Of brightness all rows, of colours half as many.
  const int halves = plane.block == kBlock ? 2 * move.from : move.from;
  const bool between = halves % 2 != 0;
  const int from = halves >> 1;  // rounded down, for negative numbers as well
  const bool downwards = move.from > 0;
  const auto line = [&plane](int row) {
    return plane.pixels + static_cast<std::ptrdiff_t>(row) * plane.stride;
  };
  // In the order in which nothing is overwritten that is still to be moved.
  for (int i = 0; i < plane.height; ++i) {
    const int row = downwards ? i : plane.height - 1 - i;
    const uint8_t* moves = &move.moves[static_cast<std::size_t>(row / plane.block) *
                                       static_cast<std::size_t>(columns)];
    for (int column = 0; column < columns;) {
      const int begin = column;
      while (column < columns && moves[column] != 0) ++column;
      if (begin == column) {
        ++column;
        continue;
      }
      const int left = begin * plane.block;
      const int count = (column - begin) * plane.block;
      const uint8_t* above = line(row + from) + left;
      if (between) {
        // Half and half.
        libyuv::InterpolatePlane(above, plane.stride, line(row + from + 1) + left, plane.stride,
                                 line(row) + left, plane.stride, count, 1, 128);
      } else {
        std::memcpy(line(row) + left, above, static_cast<std::size_t>(count));
      }
    }
  }
}

}  // namespace tovalin
