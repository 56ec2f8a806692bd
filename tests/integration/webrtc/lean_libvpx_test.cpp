#include "platform/webrtc/lean_libvpx.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <vpx/vp8cx.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "platform/webrtc/webrtc_library.h"

namespace tovalin {
namespace {

constexpr unsigned kWidth = 1920;
constexpr unsigned kHeight = 1080;

// Of this process, without what is mapped from files.
size_t privateKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    size_t value;
    if (name == "RssAnon:" && status >> value) return value;
  }
  ADD_FAILURE() << "the system does not say";
  return 0;
}

std::ptrdiff_t threads() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

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
    settings.rc_end_usage = VPX_CBR;
    settings.rc_target_bitrate = kbps;
    settings.rc_max_quantizer = maxQuantizer;
    EXPECT_EQ(libvpx_->codec_enc_init(&codec_, vpx_codec_vp8_cx(), &settings, 0), VPX_CODEC_OK);
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

  const std::shared_ptr<ActiveRows> active_ = std::make_shared<ActiveRows>();
  const std::shared_ptr<EncoderReserve> reserve_ = std::make_shared<EncoderReserve>();
  const std::unique_ptr<webrtc::LibvpxInterface> libvpx_ = leanLibvpx(active_, reserve_);
  vpx_codec_ctx_t codec_{};
  vpx_image_t picture_{};
  vpx_codec_pts_t time_ = 0;
};

TEST_F(LeanLibvpxTest, MemoryThatOneLargePictureTookIsGivenBackSomePicturesLater) {
  constexpr size_t kTokensOfNoise = 20'000;  // kilobytes at the least
  encode();
  const size_t before = privateKilobytes();
  showNoise();
  const size_t most = privateKilobytes();
  ASSERT_GT(most, before + kTokensOfNoise);
  active_->rows = RowBand{};
  for (int i = 0; i < 64; ++i) encode();
  EXPECT_LT(privateKilobytes() + kTokensOfNoise, most);
}

TEST_F(LeanLibvpxTest, TheMemoryOfAnEncoderGoesBackWithIt) {
  constexpr size_t kRest = 4'000;  // kilobytes
  const auto library = makeWebRtcLibrary();
  showNoise();
  end();
  const size_t before = privateKilobytes();
  for (int i = 0; i < 3; ++i) {
    begin();
    showNoise();
    EXPECT_GT(privateKilobytes(), before + 10 * kRest);
    end();
    EXPECT_LT(privateKilobytes(), before + kRest);
  }
  begin();
}

TEST_F(LeanLibvpxTest, ProcessorsShareAPicture) {
  end();
  const auto before = threads();
  begin();
  // One for every other row, one for the loop filter; a single processor does it all.
  EXPECT_EQ(threads() - before, sysconf(_SC_NPROCESSORS_ONLN) > 1 ? 2 : 0);
}

TEST_F(LeanLibvpxTest, AnEncoderFromTheReserveEncodesAsAFreshOneDoes) {
  const auto key = encode();
  const auto noise = showNoise();
  ASSERT_FALSE(key.empty());
  end();
  reserve_->prepare();
  begin();
  std::ranges::fill(pixels(), uint8_t{128});
  EXPECT_EQ(encode(), key);
  EXPECT_EQ(showNoise(), noise);
}

TEST_F(LeanLibvpxTest, AnEncoderFromTheReserveTakesTheRatesOfItsVisit) {
  constexpr unsigned kCoarsest = 56;
  end();
  begin(kWidth, 500'000, kCoarsest);
  const auto wide = showNoise().size();
  end();
  reserve_->prepare();
  begin(kWidth, 1'000, kCoarsest);
  EXPECT_LT(showNoise().size(), wide * 3 / 4);
}

TEST_F(LeanLibvpxTest, AnEncoderOfAnotherKindIsMadeAnew) {
  end();
  reserve_->prepare();
  begin(kWidth / 2);
  picture_.d_w = kWidth / 2;
  EXPECT_FALSE(encode().empty());
  picture_.d_w = kWidth;
}

TEST_F(LeanLibvpxTest, WhatIsInReserveMayBeDroppedAndAskedForTwice) {
  reserve_->drop();
  reserve_->prepare();
  reserve_->prepare();
  reserve_->drop();
  end();
  begin();
  EXPECT_FALSE(encode().empty());
  reserve_->prepare();
}

}  // namespace
}  // namespace tovalin
