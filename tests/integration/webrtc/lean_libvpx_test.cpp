#include "platform/webrtc/lean_libvpx.h"

#include <gtest/gtest.h>
#include <vpx/vp8cx.h>

#include <fstream>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

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

class LeanLibvpxTest : public testing::Test {
 protected:
  LeanLibvpxTest() {
    vpx_codec_enc_cfg_t settings;
    EXPECT_EQ(libvpx_->codec_enc_config_default(vpx_codec_vp8_cx(), &settings, 0), VPX_CODEC_OK);
    settings.g_w = kWidth;
    settings.g_h = kHeight;
    settings.g_lag_in_frames = 0;
    settings.rc_end_usage = VPX_CBR;
    settings.rc_target_bitrate = 500'000;
    settings.rc_max_quantizer = 4;
    EXPECT_EQ(libvpx_->codec_enc_init(&codec_, vpx_codec_vp8_cx(), &settings, 0), VPX_CODEC_OK);
    EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_CPUUSED, -12), VPX_CODEC_OK);
    EXPECT_NE(libvpx_->img_alloc(&picture_, VPX_IMG_FMT_I420, kWidth, kHeight, 16), nullptr);
    for (unsigned char& pixel : pixels()) pixel = 128;
  }
  ~LeanLibvpxTest() override {
    libvpx_->img_free(&picture_);
    libvpx_->codec_destroy(&codec_);
  }

  std::span<unsigned char> pixels() {
    return {picture_.img_data, size_t{kWidth} * kHeight * 3 / 2};
  }

  // The hardest picture there is.
  void showNoise() {
    std::minstd_rand random(1);
    for (unsigned char& pixel : pixels()) pixel = static_cast<unsigned char>(random() >> 8);
    encode();
  }

  void encode() {
    ASSERT_EQ(libvpx_->codec_encode(&codec_, &picture_, time_++, 1, 0, VPX_DL_REALTIME),
              VPX_CODEC_OK);
    vpx_codec_iter_t place = nullptr;
    while (libvpx_->codec_get_cx_data(&codec_, &place) != nullptr) continue;
  }

  const std::shared_ptr<ActiveRows> active_ = std::make_shared<ActiveRows>();
  const std::unique_ptr<webrtc::LibvpxInterface> libvpx_ = leanLibvpx(active_);
  vpx_codec_ctx_t codec_{};
  vpx_image_t picture_{};
  vpx_codec_pts_t time_ = 0;
};

TEST_F(LeanLibvpxTest, MemoryThatOneLargePictureTookIsGivenBackSomePicturesLater) {
  constexpr size_t kTokensOfNoise = 20'000;  // kilobytes at the least
  encode();
  const size_t before = privateKilobytes();
  showNoise();
  ASSERT_GT(privateKilobytes(), before + kTokensOfNoise);
  active_->rows = RowBand{};
  for (int i = 0; i < 64; ++i) encode();
  EXPECT_LT(privateKilobytes(), before + kTokensOfNoise / 2);
}

}  // namespace
}  // namespace tovalin
