#include "platform/webrtc/lean_libvpx.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <vpx/vp8cx.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/webrtc/webrtc_library.h"
#include "platform/webrtc/written_frame.h"

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
    std::ranges::fill(pixels(), uint8_t{128});
    std::minstd_rand random(static_cast<unsigned>(page) + 1);
    constexpr size_t kEvery = 12;  // row
    for (size_t row = 0; row < kHeight; row += kEvery) {
      for (size_t column = 0; column + 9 < kWidth; column += 9) {
        const auto at = static_cast<std::ptrdiff_t>(row * kWidth + column);
        std::fill_n(pixels().begin() + at, 1 + random() % 8, uint8_t{30});
      }
    }
    return encode();
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
    writeStillFrame({kWidth, kHeight, 1, static_cast<unsigned>(quantizer())}, frame);
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

TEST_F(LeanLibvpxTest, MemoryThatOneLargePictureTookIsGivenBackSomePicturesLater) {
  constexpr size_t kTokensOfNoise = 20'000;  // kilobytes at the least
  encode();
  const size_t before = privateKilobytes();
  showNoise();
  const size_t most = privateKilobytes();
  ASSERT_GT(most, before + kTokensOfNoise);
  order_->rows = RowBand{};
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

// Where the library may give its queues one, as root's.
TEST_F(LeanLibvpxTest, NoThreadThatEncodesHasARealTimePriority) {
  const auto ordinary = [] {
    namespace fs = std::filesystem;
    return std::ranges::all_of(fs::directory_iterator("/proc/self/task"), [](const auto& task) {
      return sched_getscheduler(std::stoi(task.path().filename())) == SCHED_OTHER;
    });
  };
  for (const bool reserved : {false, true}) {
    end();
    if (reserved) reserve_->prepare();
    std::thread queue([&] {
      const sched_param urgent{1};
      const bool isUrgent = pthread_setschedparam(pthread_self(), SCHED_FIFO, &urgent) == 0;
      EXPECT_EQ(ordinary(), !isUrgent);
      begin();
      EXPECT_TRUE(ordinary());
      EXPECT_FALSE(encode().empty());
    });
    queue.join();
  }
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

bool isKeyFrame(const std::vector<uint8_t>& frame) {
  return !frame.empty() && (frame[0] & 1) == 0;
}

TEST_F(LeanLibvpxTest, ARepeatIsAStillFrame) {
  const auto first = encode();
  ASSERT_TRUE(isKeyFrame(first));
  EXPECT_EQ(repeat(), still());
  EXPECT_EQ(repeat(), still());
  EXPECT_NE(type(1), still());
  EXPECT_EQ(repeat(), still());
}

TEST_F(LeanLibvpxTest, ARepeatIsGivenOutLikeAnyPicture) {
  encode();
  order_->rows = RowBand{};
  ASSERT_EQ(libvpx_->codec_encode(&codec_, &picture_, 17, 3, 0, VPX_DL_REALTIME), VPX_CODEC_OK);
  for (int i = 0; i < 2; ++i) {  // it may be looked at twice
    vpx_codec_iter_t place = nullptr;
    const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->kind, VPX_CODEC_CX_FRAME_PKT);
    EXPECT_EQ(packet->data.frame.pts, 17);
    EXPECT_EQ(packet->data.frame.duration, 3U);
    EXPECT_EQ(packet->data.frame.flags, 0U);
    EXPECT_EQ(libvpx_->codec_get_cx_data(&codec_, &place), nullptr);
  }
  // The next one has its own time, whatever libvpx was told.
  order_->rows.reset();
  ASSERT_EQ(libvpx_->codec_encode(&codec_, &picture_, 20, 1, 0, VPX_DL_REALTIME), VPX_CODEC_OK);
  vpx_codec_iter_t place = nullptr;
  const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place);
  ASSERT_NE(packet, nullptr);
  EXPECT_EQ(packet->data.frame.pts, 20);
}

TEST_F(LeanLibvpxTest, NoEncoderBeginsWithARepeat) {
  EXPECT_TRUE(isKeyFrame(repeat()));
  EXPECT_EQ(repeat(), still());
  end();
  begin();
  EXPECT_TRUE(isKeyFrame(repeat()));
  end();
  reserve_->prepare();
  begin();
  EXPECT_TRUE(isKeyFrame(repeat()));
}

TEST_F(LeanLibvpxTest, AKeyFrameThatIsAskedForIsNoRepeat) {
  encode();
  EXPECT_FALSE(isKeyFrame(repeat()));
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, int{VPX_EFLAG_FORCE_KF}),
            VPX_CODEC_OK);
  EXPECT_TRUE(isKeyFrame(repeat()));
  EXPECT_EQ(repeat(), still());
  EXPECT_EQ(
      libvpx_->codec_encode(&codec_, &picture_, time_++, 1, VPX_EFLAG_FORCE_KF, VPX_DL_REALTIME),
      VPX_CODEC_OK);
  vpx_codec_iter_t place = nullptr;
  const auto* packet = libvpx_->codec_get_cx_data(&codec_, &place);
  ASSERT_NE(packet, nullptr);
  EXPECT_NE(packet->data.frame.flags & VPX_FRAME_IS_KEY, 0U);
}

constexpr int kOnlyLast = VP8_EFLAG_NO_UPD_GF | VP8_EFLAG_NO_UPD_ARF;

TEST_F(LeanLibvpxTest, APictureMayBeMovedOnceItIsAReferenceOfItsOwn) {
  BlockMove move{16, std::vector<uint8_t>(120 * 68, 0)};
  move.moves[0] = 1;
  EXPECT_FALSE(order_->movable);
  encode();
  EXPECT_FALSE(order_->movable) << "the key frame is all references";
  type(1);
  EXPECT_FALSE(order_->movable) << "it may have become the golden frame as well";
  EXPECT_EQ(libvpx_->codec_control(&codec_, VP8E_SET_FRAME_FLAGS, kOnlyLast), VPX_CODEC_OK);
  type(2);
  ASSERT_TRUE(order_->movable);

  order_->move = &move;
  const auto moved = encode();
  EXPECT_EQ(order_->move, nullptr);
  EXPECT_TRUE(order_->moved);
  EXPECT_TRUE(order_->movable);
  std::vector<uint8_t> expected;
  writeMoveFrame({kWidth, kHeight, 1, static_cast<unsigned>(quantizer())}, move, expected);
  EXPECT_EQ(moved, expected);
  EXPECT_EQ(repeat(), still());
  EXPECT_FALSE(order_->moved);
  end();
  begin();
  EXPECT_FALSE(order_->movable);
}

TEST_F(LeanLibvpxTest, AMoveThatIsNotPossibleIsLeftAndThePictureEncoded) {
  BlockMove move{16, std::vector<uint8_t>(120 * 68, 1)};
  encode();
  order_->move = &move;
  EXPECT_FALSE(type(1).empty());
  EXPECT_EQ(order_->move, &move);
  EXPECT_FALSE(order_->moved);
  order_->move = nullptr;
}

TEST_F(LeanLibvpxTest, OnlyTheBlocksThatAreNamedAreLookedAt) {
  encode();
  const auto whole = showNoise().size();
  std::vector<uint8_t> blocks(120 * 68, 0);
  std::fill_n(blocks.begin(), 120, uint8_t{1});
  std::minstd_rand random(2);
  for (uint8_t& pixel : pixels()) pixel = static_cast<uint8_t>(random() >> 8);
  order_->blocks = &blocks;
  order_->rows = RowBand{0, kHeight};
  EXPECT_LT(encode().size(), whole / 30);
  order_->blocks = nullptr;
}

// Neither by its references nor by its clock.
TEST_F(LeanLibvpxTest, LibvpxDoesNotNoticeRepeats) {
  const auto video = [this](int repeats) {
    end();
    begin(kWidth, 3'000, 56);
    std::vector<std::vector<uint8_t>> pictures;
    for (int page = 0; page < 5; ++page) {
      order_->rows.reset();
      pictures.push_back(showPage(page));
      for (int letter = 0; letter < 12; ++letter) pictures.push_back(type(letter));
      for (int i = 0; i < repeats; ++i) repeat();
    }
    return pictures;
  };
  EXPECT_EQ(video(100), video(0));
}

TEST_F(LeanLibvpxTest, PicturesAfterALongStillAreAsAfterRepeatsThatLibvpxEncodes) {
  constexpr int kSharp = 15;       // the quantiser's floor
  constexpr int kSharpening = 25;  // pictures with it in a row, before no row is active any more
  struct After {
    size_t bytes = 0;
    int quantizers = 0;
  };
  constexpr int kPages = 5;
  const auto after = [&, this](RowBand looked) {
    end();
    begin(kWidth, 3'000, 56);
    order_->rows.reset();
    showPage(0);
    for (int i = 0, sharp = 0; i < 500 && sharp < kSharpening; ++i) {
      encode();
      sharp = quantizer() <= kSharp ? sharp + 1 : 0;
    }
    EXPECT_LE(quantizer(), kSharp);
    order_->rows = looked;
    for (int i = 0; i < 100; ++i) encode();
    order_->rows.reset();
    After result;
    for (int page = 1; page <= kPages; ++page) {
      result.bytes += showPage(page).size();
      result.quantizers += quantizer();
    }
    return result;
  };
  const auto ours = after({});
  const auto theirs = after({0, 1});  // which is as good as none
  RecordProperty("bytes", std::to_string(ours.bytes) + " " + std::to_string(theirs.bytes));
  RecordProperty("quantizers",
                 std::to_string(ours.quantizers) + " " + std::to_string(theirs.quantizers));
  EXPECT_NEAR(static_cast<double>(ours.bytes), static_cast<double>(theirs.bytes),
              static_cast<double>(theirs.bytes) / 4);
  EXPECT_NEAR(ours.quantizers, theirs.quantizers, kPages * 10);
}

}  // namespace
}  // namespace tovalin
