#pragma once

#include "platform/webrtc/require_checks.h"

#include <gtest/gtest.h>
#include <vpx/vp8.h>
#include <vpx/vp8cx.h>
#include <vpx/vp8dx.h>
#include <vpx/vpx_decoder.h>
#include <vpx/vpx_encoder.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <random>
#include <vector>

#include "platform/webrtc/picture_patch.h"
#include "platform/webrtc/reference_picture.h"
#include "platform/webrtc/written_frame.h"

namespace tovalin {

using Bytes = std::vector<uint8_t>;

// All that is seen of it.
inline Bytes pixelsOf(const vpx_image_t& image) {
  Bytes pixels;
  for (int plane = 0; plane < 3; ++plane) {
    const unsigned half = plane == 0 ? 0 : 1;
    for (unsigned row = 0; row < (image.d_h + half) >> half; ++row) {
      const auto* start = image.planes[plane] + static_cast<ptrdiff_t>(row) * image.stride[plane];
      pixels.insert(pixels.end(), start, start + ((image.d_w + half) >> half));
    }
  }
  return pixels;
}

struct Size {
  unsigned width = 0;
  unsigned height = 0;
};
inline void PrintTo(const Size& size, std::ostream* out) {
  *out << size.width << "x" << size.height;
}

// Of which an encoder makes its next picture.
inline Bytes lastOf(vpx_codec_ctx_t& encoder, Size size) {
  vpx_ref_frame_t reference{};
  reference.frame_type = VP8_LAST_FRAME;
  vpx_image_t& image = reference.img;
  const auto whole = [](unsigned pixels) { return (pixels + 15) / 16 * 16; };
  EXPECT_NE(vpx_img_alloc(&image, VPX_IMG_FMT_I420, whole(size.width), whole(size.height), 16),
            nullptr);
  EXPECT_EQ(vpx_codec_control(&encoder, VP8_COPY_REFERENCE, &reference), VPX_CODEC_OK);
  image.d_w = size.width;
  image.d_h = size.height;
  auto pixels = pixelsOf(image);
  vpx_img_free(&image);
  return pixels;
}

// A screen and the encoder that the library makes for it.
class Video {
 public:
  explicit Video(Size size, unsigned profile = 1) : size_(size) {
    vpx_codec_enc_cfg_t settings;
    EXPECT_EQ(vpx_codec_enc_config_default(vpx_codec_vp8_cx(), &settings, 0), VPX_CODEC_OK);
    settings.g_w = size.width;
    settings.g_h = size.height;
    settings.g_profile = profile;
    settings.g_lag_in_frames = 0;
    settings.g_threads = 2;
    settings.rc_end_usage = VPX_CBR;
    settings.rc_target_bitrate = 3'000;
    settings.rc_min_quantizer = 12;
    settings.rc_max_quantizer = 56;
    EXPECT_EQ(vpx_codec_enc_init(&codec_, vpx_codec_vp8_cx(), &settings, 0), VPX_CODEC_OK);
    EXPECT_EQ(vpx_codec_control(&codec_, VP8E_SET_CPUUSED, -6), VPX_CODEC_OK);
    EXPECT_EQ(vpx_codec_control(&codec_, VP8E_SET_SCREEN_CONTENT_MODE, 2), VPX_CODEC_OK);
    EXPECT_EQ(vpx_codec_control(&codec_, VP8E_SET_STATIC_THRESHOLD, 100), VPX_CODEC_OK);
    EXPECT_NE(vpx_img_alloc(&picture_, VPX_IMG_FMT_I420, size.width, size.height, 1), nullptr);
    for (unsigned row = 0; row < size.height; ++row) change(row, 0, size.width);
  }
  ~Video() {
    vpx_img_free(&picture_);
    EXPECT_EQ(vpx_codec_destroy(&codec_), VPX_CODEC_OK);
  }
  Video(const Video&) = delete;
  Video& operator=(const Video&) = delete;

  // What a letter that is typed makes of it.
  Bytes type(vpx_enc_frame_flags_t flags = 0) {
    constexpr unsigned kLetter = 12;
    const unsigned left = kLetter * typed_ % size_.width;
    const unsigned top = kLetter * typed_ / size_.width * kLetter % size_.height;
    ++typed_;
    for (unsigned row = top; row < std::min(top + kLetter, size_.height); ++row) {
      change(row, left, std::min(left + kLetter, size_.width));
    }
    return encode(flags);
  }

  Bytes encode(vpx_enc_frame_flags_t flags = 0) {
    EXPECT_EQ(vpx_codec_encode(&codec_, &picture_, time_++, 1, flags, VPX_DL_REALTIME),
              VPX_CODEC_OK);
    vpx_codec_iter_t place = nullptr;
    const auto* packet = vpx_codec_get_cx_data(&codec_, &place);
    if (packet == nullptr) return {};
    const auto* start = static_cast<const uint8_t*>(packet->data.frame.buf);
    return {start, start + packet->data.frame.sz};
  }

  Bytes last() { return lastOf(codec_, size_); }

  // Only what it goes on from; the picture has to be changed by itself.
  Bytes move(const BlockMove& move, unsigned profile) {
    EXPECT_TRUE(reference_.fetch(&codec_, size_.width, size_.height));
    reference_.move(move);
    goOn();
    Bytes frame;
    FrameWriter().move({size_.width, size_.height, profile, 20}, move, frame);
    return frame;
  }

  // In place of encoding what the picture has become; empty if that takes too much.
  Bytes patch(const PicturePatch::Order& order, const BlockMove* move = nullptr) {
    EXPECT_TRUE(reference_.fetch(&codec_, size_.width, size_.height));
    if (move != nullptr) reference_.move(*move);
    patchedRows = patch_.code(view(), order, reference_);
    goOn();
    Bytes frame;
    if (!patchedRows) return frame;
    writer_.patch({size_.width, size_.height, 1, MacroblockCoder::quantizer(order.fineness)}, move,
                  patch_.blocks(), frame);
    return frame;
  }
  Bytes patchRows(RowBand rows, Fineness fineness = Fineness::quick) {
    return patch({rows, nullptr, fineness, kAnyBytes});
  }
  static constexpr size_t kAnyBytes = size_t{1} << 20;
  std::optional<RowBand> patchedRows;
  const PicturePatch& patched() const { return patch_; }

  // Any pixels in that area, up to that value.
  void paint(unsigned left, unsigned top, unsigned right, unsigned bottom, unsigned most = 255) {
    for (int plane = 0; plane < 3; ++plane) {
      const unsigned half = plane == 0 ? 0 : 1;
      for (unsigned row = top >> half; row < std::min(bottom, size_.height + half) >> half; ++row) {
        auto* pixels =
            picture_.planes[plane] + static_cast<ptrdiff_t>(row) * picture_.stride[plane];
        for (unsigned i = left >> half; i < std::min(right, size_.width + half) >> half; ++i) {
          pixels[i] = static_cast<uint8_t>((random_() >> 8) % (most + 1));
        }
      }
    }
  }

  I420View view() const {
    return {static_cast<int>(size_.width),
            static_cast<int>(size_.height),
            picture_.planes[0],
            picture_.planes[1],
            picture_.planes[2],
            picture_.stride[0],
            picture_.stride[1],
            picture_.stride[2]};
  }
  Bytes pixels() const { return pixelsOf(picture_); }

 private:
  void goOn() {
    EXPECT_TRUE(reference_.give(&codec_));
    reference_.forget();
  }

  void change(unsigned row, unsigned left, unsigned end) {
    auto* pixels =
        picture_.planes[0] + static_cast<size_t>(row) * static_cast<size_t>(picture_.stride[0]);
    for (unsigned column = left; column < end; ++column) {
      pixels[column] = (random_() >> 8 & 3) == 0 ? 40 : 230;
    }
    auto* colours =
        picture_.planes[1] + static_cast<size_t>(row / 2) * static_cast<size_t>(picture_.stride[1]);
    for (unsigned column = left / 2; column < end / 2; ++column) {
      colours[column] = static_cast<uint8_t>(100 + typed_ % 50);
    }
  }

  const Size size_;
  vpx_codec_ctx_t codec_{};
  vpx_image_t picture_{};
  vpx_codec_pts_t time_ = 0;
  unsigned typed_ = 0;
  std::minstd_rand random_;
  ReferencePicture reference_;
  PicturePatch patch_;
  FrameWriter writer_;
};

class Viewer {
 public:
  Viewer() { EXPECT_EQ(vpx_codec_dec_init(&codec_, vpx_codec_vp8_dx(), nullptr, 0), VPX_CODEC_OK); }
  ~Viewer() { EXPECT_EQ(vpx_codec_destroy(&codec_), VPX_CODEC_OK); }
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  // All pixels that are seen then; none after a frame that is not to be decoded.
  Bytes sees(const Bytes& frame) {
    EXPECT_EQ(
        vpx_codec_decode(&codec_, frame.data(), static_cast<unsigned>(frame.size()), nullptr, 0),
        VPX_CODEC_OK);
    int corrupted = -1;
    EXPECT_EQ(vpx_codec_control(&codec_, VP8D_GET_FRAME_CORRUPTED, &corrupted), VPX_CODEC_OK);
    EXPECT_EQ(corrupted, 0);
    vpx_codec_iter_t place = nullptr;
    const auto* image = vpx_codec_get_frame(&codec_, &place);
    return image == nullptr ? Bytes() : pixelsOf(*image);
  }

  int quantizer() {
    int value = -1;
    EXPECT_EQ(vpx_codec_control(&codec_, VPXD_GET_LAST_QUANTIZER, &value), VPX_CODEC_OK);
    return value;
  }

 private:
  vpx_codec_ctx_t codec_{};
};

}  // namespace tovalin
