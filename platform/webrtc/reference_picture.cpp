#include "platform/webrtc/reference_picture.h"

#include <libyuv/planar_functions.h>

#include <cstring>

namespace tovalin {

bool ReferencePicture::fetch(vpx_codec_ctx_t* encoder, unsigned width, unsigned height) {
  // With what libvpx has beyond the picture's own edges, to the end of the last macroblock.
  const auto whole = [](unsigned pixels) {
    return static_cast<unsigned>(blocksAlong(static_cast<int>(pixels)) * kBlock);
  };
  if (whole(width) != width_ || whole(height) != height_) forget();
  if (state_ != State::unknown) return true;
  width_ = whole(width);
  height_ = whole(height);
  pixels_.resize(std::size_t{width_} * height_ * 3 / 2);
  auto last = wrapped();
  if (vpx_codec_control(encoder, VP8_COPY_REFERENCE, &last) != VPX_CODEC_OK) return false;
  for (std::size_t i = 0; i < planes_.size(); ++i) {
    const int half = i == 0 ? 0 : 1;
    planes_[i] = {last.img.planes[i], last.img.stride[i], static_cast<int>(height_) >> half,
                  kBlock >> half};
  }
  state_ = State::shared;
  return true;
}

bool ReferencePicture::give(vpx_codec_ctx_t* encoder) {
  if (state_ != State::changed) return true;
  auto last = wrapped();
  state_ = State::shared;
  return vpx_codec_control(encoder, VP8_SET_REFERENCE, &last) == VPX_CODEC_OK;
}

void ReferencePicture::move(const BlockMove& move) {
  for (const auto& plane : planes_) movePlane(plane, move, static_cast<int>(width_) / kBlock);
  hasChanged();
}

vpx_ref_frame_t ReferencePicture::wrapped() {
  constexpr unsigned kNoPadding = 1;
  vpx_ref_frame_t last{};
  last.frame_type = VP8_LAST_FRAME;
  vpx_img_wrap(&last.img, VPX_IMG_FMT_I420, width_, height_, kNoPadding, pixels_.data());
  return last;
}

void ReferencePicture::movePlane(const Plane& plane, const BlockMove& move, int columns) {
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
