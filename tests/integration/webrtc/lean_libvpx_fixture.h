#pragma once

#include "platform/webrtc/require_checks.h"

#include <gtest/gtest.h>
#include <vpx/vp8cx.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <vector>

#include "platform/webrtc/lean_libvpx.h"
#include "platform/webrtc/written_frame.h"

namespace tovalin {

inline constexpr unsigned kWidth = 1920;
inline constexpr unsigned kHeight = 1080;

// A screen, and libvpx as the library sets it.
class LeanLibvpxTest : public testing::Test {
 protected:
  LeanLibvpxTest() {
    EXPECT_NE(libvpx_->img_alloc(&picture_, VPX_IMG_FMT_I420, kWidth, kHeight, 16), nullptr);
    std::ranges::fill(pixels(), uint8_t{128});
    begin();
  }
  ~LeanLibvpxTest() override {
    end();
    libvpx_->img_free(&picture_);
  }

  void begin(unsigned width = kWidth, unsigned kbps = 500'000, unsigned maxQuantizer = 4) {
    vpx_codec_enc_cfg_t settings;
    EXPECT_EQ(libvpx_->codec_enc_config_default(vpx_codec_vp8_cx(), &settings, 0), VPX_CODEC_OK);
    settings.g_w = width;
    settings.g_h = kHeight;
    settings.g_lag_in_frames = 0;
    settings.g_threads = 2;
    settings.rc_end_usage = VPX_CBR;
    settings.rc_target_bitrate = kbps;
    settings.rc_min_quantizer = std::min(12U, maxQuantizer);
    settings.rc_max_quantizer = maxQuantizer;
    // As the library has them.
    settings.rc_undershoot_pct = 100;
    settings.rc_overshoot_pct = 15;
    settings.rc_buf_initial_sz = 500;
    settings.rc_buf_optimal_sz = 600;
    settings.rc_buf_sz = 1000;
    EXPECT_EQ(libvpx_->codec_enc_init(&codec_, vpx_codec_vp8_cx(), &settings,
                                      VPX_CODEC_USE_OUTPUT_PARTITION),
              VPX_CODEC_OK);
    EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_CPUUSED, -12), VPX_CODEC_OK);
    time_ = 0;
  }
  void end() { EXPECT_EQ(libvpx_->codec_destroy(&codec_), VPX_CODEC_OK); }

  std::span<uint8_t> pixels() { return {picture_.img_data, size_t{kWidth} * kHeight * 3 / 2}; }

  // The hardest picture there is.
  std::vector<uint8_t> showNoise() {
    std::minstd_rand random(1);
    for (uint8_t& pixel : pixels()) pixel = static_cast<uint8_t>(random() >> 8);
    return encode();
  }

  // A letter on a screen that is otherwise as it was.
  std::vector<uint8_t> type(int number) {
    constexpr int kLetter = 12;
    constexpr int kLine = 160;  // in letters
    const int top = kLetter * (number / kLine);
    const int left = kLetter * (number % kLine);
    for (int row = top; row < top + kLetter; ++row) {
      for (int column = left; column < left + kLetter; ++column) {
        pixels()[static_cast<size_t>(row) * kWidth + static_cast<size_t>(column)] =
            static_cast<uint8_t>((row ^ column) * number);
      }
    }
    order_->rows = RowBand{top, top + kLetter};
    return encode();
  }

  // A screen of strokes, every page of others.
  std::vector<uint8_t> showPage(int page) {
    drawPage(page);
    return encode();
  }
  void drawPage(int page) {
    std::ranges::fill(pixels(), uint8_t{128});
    std::minstd_rand random(static_cast<unsigned>(page) + 1);
    constexpr size_t kEvery = 12;  // row
    for (size_t row = 0; row < kHeight; row += kEvery) {
      for (size_t column = 0; column + 9 < kWidth; column += 9) {
        const auto at = static_cast<std::ptrdiff_t>(row * kWidth + column);
        std::fill_n(pixels().begin() + at, 1 + random() % 8, uint8_t{30});
      }
    }
  }

  std::vector<uint8_t> repeat() {
    order_->rows = RowBand{};
    return encode();
  }

  int quantizer() {
    int value = -1;
    EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_GET_LAST_QUANTIZER, &value), VPX_CODEC_OK);
    return value;
  }
  // What a repeat is now.
  std::vector<uint8_t> still() {
    std::vector<uint8_t> frame;
    FrameWriter().still({kWidth, kHeight, 1, static_cast<unsigned>(quantizer())}, frame);
    return frame;
  }

  std::vector<uint8_t> encode() {
    EXPECT_EQ(libvpx_->codec_encode(&codec_, &picture_, time_++, 1, 0, VPX_DL_REALTIME),
              VPX_CODEC_OK);
    std::vector<uint8_t> bytes;
    vpx_codec_iter_t place = nullptr;
    while (const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place)) {
      if (packet->kind != VPX_CODEC_CX_FRAME_PKT) continue;
      const auto* start = static_cast<const uint8_t*>(packet->data.frame.buf);
      bytes.insert(bytes.end(), start, start + packet->data.frame.sz);
    }
    return bytes;
  }

  const std::shared_ptr<PictureOrder> order_ = std::make_shared<PictureOrder>();
  const std::shared_ptr<EncoderReserve> reserve_ = std::make_shared<EncoderReserve>();
  const std::unique_ptr<webrtc::LibvpxInterface> libvpx_ = leanLibvpx(order_, reserve_);
  vpx_codec_ctx_t codec_{};
  vpx_image_t picture_{};
  vpx_codec_pts_t time_ = 0;
};

}  // namespace tovalin
