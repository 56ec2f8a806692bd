// What libvpx's decoder makes of frames that are written, and that its encoder goes on from the
// same.

#include "platform/webrtc/written_frame.h"

#include <gtest/gtest.h>
#include <vpx/vp8.h>
#include <vpx/vp8cx.h>
#include <vpx/vp8dx.h>
#include <vpx/vpx_decoder.h>
#include <vpx/vpx_encoder.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <random>
#include <vector>

#include "platform/webrtc/reference_move.h"

namespace tovalin {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes stillFrame(const WrittenFrameKind& kind) {
  Bytes frame;
  writeStillFrame(kind, frame);
  return frame;
}

// All that is seen of it.
Bytes pixelsOf(const vpx_image_t& image) {
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
void PrintTo(const Size& size, std::ostream* out) {
  *out << size.width << "x" << size.height;
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

  // Of which the next picture is made.
  Bytes last() {
    vpx_ref_frame_t reference{};
    reference.frame_type = VP8_LAST_FRAME;
    vpx_image_t& image = reference.img;
    EXPECT_NE(vpx_img_alloc(&image, VPX_IMG_FMT_I420, (size_.width + 15) / 16 * 16,
                            (size_.height + 15) / 16 * 16, 16),
              nullptr);
    EXPECT_EQ(vpx_codec_control(&codec_, VP8_COPY_REFERENCE, &reference), VPX_CODEC_OK);
    image.d_w = size_.width;
    image.d_h = size_.height;
    auto pixels = pixelsOf(image);
    vpx_img_free(&image);
    return pixels;
  }

  // Only what it goes on from; the picture has to be changed by itself.
  Bytes move(const BlockMove& move, unsigned profile) {
    EXPECT_TRUE(references_.apply(&codec_, size_.width, size_.height, move));
    Bytes frame;
    writeMoveFrame({size_.width, size_.height, profile, 20}, move, frame);
    return frame;
  }

 private:
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
  ReferenceMove references_;
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

// Shows still frames to one of two viewers only: neither may see anything of it.
void expectNoTrace(Size size, unsigned profile, int pictures, int every) {
  Video video(size, profile);
  const auto still = stillFrame({size.width, size.height, profile, 20});
  Viewer with;
  Viewer without;
  for (int i = 0; i < pictures; ++i) {
    const auto frame = i == 0 ? video.encode() : video.type();
    if (frame.empty()) continue;  // dropped
    const auto seen = with.sees(frame);
    ASSERT_FALSE(seen.empty());
    ASSERT_EQ(seen, without.sees(frame)) << i;
    if (i % every != every - 1) continue;
    for (int j = 0; j < 3; ++j) ASSERT_EQ(with.sees(still), seen) << i;
  }
}

class StillFrameSizes : public testing::TestWithParam<Size> {};

TEST_P(StillFrameSizes, ShowsThePictureBeforeItAndLeavesNoTrace) {
  expectNoTrace(GetParam(), 1, 12, 4);
}

INSTANTIATE_TEST_SUITE_P(Of, StillFrameSizes,
                         testing::Values(Size{1920, 1080}, Size{16, 16}, Size{17, 33},
                                         Size{1366, 768}, Size{3840, 2160}, Size{33, 17}));

// With golden frames in between, which libvpx makes every 40 pictures.
TEST(StillFrame, LeavesNoTraceInALongVideo) {
  expectNoTrace({320, 180}, 1, 200, 1);
  expectNoTrace({640, 360}, 1, 200, 7);
}

TEST(StillFrame, IsOfEveryProfile) {
  for (unsigned profile = 0; profile < 4; ++profile) {
    SCOPED_TRACE(profile);
    expectNoTrace({320, 180}, profile, 20, 3);
  }
}

TEST(StillFrame, MayComeAfterTheKeyFrame) {
  expectNoTrace({320, 180}, 1, 4, 1);
}

TEST(StillFrame, TellsTheQuantizer) {
  constexpr Size kSize{320, 180};
  Video video(kSize);
  Viewer viewer;
  viewer.sees(video.encode());
  viewer.sees(stillFrame({kSize.width, kSize.height, 1, 15}));
  EXPECT_EQ(viewer.quantizer(), 15);
  viewer.sees(stillFrame({kSize.width, kSize.height, 1, 127}));
  EXPECT_EQ(viewer.quantizer(), 127);
}

TEST(StillFrame, IsSmall) {
  EXPECT_LT(stillFrame({1920, 1080, 1, 15}).size(), 300U);
}

// Any blocks that may move so far.
BlockMove anyMove(Size size, int from, std::minstd_rand& random) {
  BlockMove move;
  move.from = from;
  const int columns = blocksAlong(static_cast<int>(size.width));
  const int rows = blocksAlong(static_cast<int>(size.height));
  const auto rarely = random() % 8;  // so that some stand alone, and some in large areas
  for (int row = 0; row < rows; ++row) {
    const int top = row * kBlock + from;
    const bool within = top >= 0 && top + kBlock <= static_cast<int>(size.height);
    for (int column = 0; column < columns; ++column) {
      move.moves.push_back(within && (random() >> 8) % 8 >= rarely ? 1 : 0);
    }
  }
  return move;
}

constexpr auto kOnlyLast = VP8_EFLAG_NO_UPD_GF | VP8_EFLAG_NO_UPD_ARF;

void expectMovesAreShared(Size size, unsigned profile, const std::vector<int>& distances) {
  SCOPED_TRACE(testing::Message() << "profile " << profile);
  Video video(size, profile);
  Viewer viewer;
  std::minstd_rand random(size.width);
  viewer.sees(video.encode());
  for (const int from : distances) {
    const auto frame = video.type(kOnlyLast);
    if (!frame.empty()) viewer.sees(frame);
    const auto before = video.last();
    const auto seen = viewer.sees(video.move(anyMove(size, from, random), profile));
    ASSERT_EQ(seen, video.last()) << from;
    if (from != 0 && std::abs(from) + 48 < static_cast<int>(size.height)) {
      ASSERT_NE(seen, before) << from;
    }
    const auto next = video.type(kOnlyLast);
    if (next.empty()) continue;
    ASSERT_EQ(viewer.sees(next), video.last()) << from;
  }
}

class MoveFrameSizes : public testing::TestWithParam<Size> {};

TEST_P(MoveFrameSizes, DecoderAndEncoderGoOnFromTheSame) {
  expectMovesAreShared(GetParam(), 1, {1, -1, 2, -2, 7, 8, -13, 16, 65, -64, 100, 255, -255});
  expectMovesAreShared(GetParam(), 2, {3, -5, 12});
}

INSTANTIATE_TEST_SUITE_P(Of, MoveFrameSizes,
                         testing::Values(Size{1920, 1080}, Size{64, 48}, Size{17, 33},
                                         Size{1366, 768}, Size{3840, 2160}, Size{33, 17}));

}  // namespace
}  // namespace tovalin
