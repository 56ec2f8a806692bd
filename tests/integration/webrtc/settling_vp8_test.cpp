// What a viewer gets of a screen through the real encoder.

#include "platform/webrtc/settling_encoder.h"

#include <gtest/gtest.h>

#include <api/video/video_bitrate_allocation.h>
#include <api/video_codecs/video_codec.h>
#include <api/video_codecs/video_decoder.h>
#include <libyuv/compare.h>
#include <modules/video_coding/codecs/vp8/include/vp8.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <chrono>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "platform/webrtc/video_encoders.h"
#include "tests/integration/webrtc/screen_encoding.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using FrameTypes = std::vector<webrtc::VideoFrameType>;
using Rates = webrtc::VideoEncoder::RateControlParameters;

constexpr auto kDelta = webrtc::VideoFrameType::kVideoFrameDelta;
constexpr auto kKey = webrtc::VideoFrameType::kVideoFrameKey;

std::unique_ptr<webrtc::VideoEncoder> screenEncoder() {
  return makeScreenVp8Encoder({std::make_shared<RepeatRequests>(),
                               std::make_shared<FrameTrace>(std::string()),
                               std::make_shared<EncoderReserve>()});
}

class Screen final : public webrtc::EncodedImageCallback, public webrtc::DecodedImageCallback {
 public:
  Screen(std::unique_ptr<webrtc::VideoEncoder> encoder, unsigned kbps)
      : encoder_(std::move(encoder)) {
    webrtc::VideoDecoder::Settings decoding;
    decoding.set_codec_type(webrtc::kVideoCodecVP8);
    decoding.set_max_render_resolution({kWidth, kHeight});
    EXPECT_TRUE(decoder_->Configure(decoding));
    decoder_->RegisterDecodeCompleteCallback(this);

    webrtc::VideoCodec codec;
    codec.codecType = webrtc::kVideoCodecVP8;
    codec.mode = webrtc::VideoCodecMode::kScreensharing;
    codec.width = kWidth;
    codec.height = kHeight;
    codec.startBitrate = kbps;
    codec.maxBitrate = kbps;
    codec.maxFramerate = 60;
    codec.qpMax = 56;
    codec.active = true;
    *codec.VP8() = webrtc::VideoEncoder::GetDefaultVp8Settings();
    codec.VP8()->denoisingOn = false;
    codec.VP8()->automaticResizeOn = false;
    codec.SetFrameDropEnabled(true);
    encoder_->RegisterEncodeCompleteCallback(this);
    const webrtc::VideoEncoder::Settings settings(webrtc::VideoEncoder::Capabilities(false), 1,
                                                  1200);
    EXPECT_EQ(encoder_->InitEncode(&codec, settings), WEBRTC_VIDEO_CODEC_OK);
    webrtc::VideoBitrateAllocation bitrate;
    bitrate.SetBitrate(0, 0, kbps * 1000);
    encoder_->SetRates(Rates(bitrate, 30));
  }
  ~Screen() override {
    encoder_->Release();
    decoder_->Release();
  }

  // Whether the viewer got it; the encoder may drop it to keep to its bitrate.
  bool shows(const I420& buffer, RowBand changed) {
    const int before = images_;
    now_ += changed == kRepeat ? 500ms : 33ms;
    const FrameTypes types{images_ == 0 ? kKey : kDelta};
    EXPECT_EQ(encoder_->Encode(frameOf(buffer, now_, changed), &types), WEBRTC_VIDEO_CODEC_OK);
    return images_ > before;
  }

  int images() const { return images_; }
  size_t bytes() const { return bytes_; }
  // That of the last image.
  int profile() const { return profile_; }
  // In dB, of these rows.
  double sharpness(const I420& original, RowBand rows = kAll) const {
    return libyuv::CalcFramePsnr(original->DataY() + rows.top * original->StrideY(),
                                 original->StrideY(), seen_->DataY() + rows.top * seen_->StrideY(),
                                 seen_->StrideY(), kWidth, rows.bottom - rows.top);
  }

  static constexpr int kWidth = 640;
  static constexpr int kHeight = 360;
  static constexpr RowBand kAll{0, kHeight};
  static constexpr RowBand kRepeat{};

 private:
  Result OnEncodedImage(const webrtc::EncodedImage& image,
                        const webrtc::CodecSpecificInfo*) override {
    // A move goes ahead of its picture, with a time stamp of its own.
    if (image.Timestamp() == timestampOf(now_)) ++images_;
    bytes_ += image.size();
    profile_ = image.data()[0] >> 1 & 7;  // of the frame tag (RFC 6386, 9.1)
    EXPECT_EQ(decoder_->Decode(image, false, 0), WEBRTC_VIDEO_CODEC_OK);
    return Result(Result::OK);
  }
  int32_t Decoded(webrtc::VideoFrame& frame) override {
    seen_ = frame.video_frame_buffer()->ToI420();
    return WEBRTC_VIDEO_CODEC_OK;
  }

  const std::unique_ptr<webrtc::VideoEncoder> encoder_;
  const std::unique_ptr<webrtc::VideoDecoder> decoder_ = webrtc::VP8Decoder::Create();
  std::chrono::microseconds now_ = 1h;
  int images_ = 0;
  size_t bytes_ = 0;
  int profile_ = -1;
  I420 seen_;
};

// Hard to encode: noise above, fine steps below.
rtc::scoped_refptr<webrtc::I420Buffer> detailed(unsigned seed) {
  const auto buffer = webrtc::I420Buffer::Create(Screen::kWidth, Screen::kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  std::mt19937 random(seed);
  for (int y = 0; y < Screen::kHeight; ++y) {
    for (int x = 0; x < Screen::kWidth; ++x) {
      buffer->MutableDataY()[y * buffer->StrideY() + x] = static_cast<uint8_t>(
          y < Screen::kHeight / 2 ? 16 + random() % 200 : 16 + (x / 3 + y + 5 * seed) % 200);
    }
  }
  return buffer;
}

TEST(SettlingVp8Test, AStillPictureAfterMotionBecomesAsSharpWithFewerPictures) {
  Screen plain(webrtc::VP8Encoder::Create(), 2500);
  Screen settled(screenEncoder(), 2500);
  I420 picture;
  for (unsigned i = 0; i < 20; ++i) {
    picture = detailed(i);
    plain.shows(picture, Screen::kAll);
    settled.shows(picture, Screen::kAll);
  }
  // A minute.
  for (int i = 0; i < 120; ++i) {
    plain.shows(picture, Screen::kRepeat);
    settled.shows(picture, Screen::kRepeat);
  }
  EXPECT_GT(plain.sharpness(picture), 40.0);
  EXPECT_GT(settled.sharpness(picture), plain.sharpness(picture) - 0.3);
  EXPECT_LT(settled.images(), plain.images() - 20);
}

TEST(SettlingVp8Test, AChangeThatWasTooBigForTheBitrateComesWithALaterRepeat) {
  Screen screen(screenEncoder(), 100);
  const auto flat = webrtc::I420Buffer::Create(Screen::kWidth, Screen::kHeight);
  webrtc::I420Buffer::SetBlack(flat.get());
  screen.shows(flat, Screen::kAll);
  int repeats = 0;
  while (repeats < 100 && screen.shows(flat, Screen::kRepeat)) ++repeats;
  ASSERT_LT(repeats, 100) << "it never settles";
  // Just before the change, so that the repeat after it comes too early to keep the video alive.
  ASSERT_TRUE(screen.shows(flat, Screen::kRepeat));

  I420 change;
  for (unsigned i = 1; i < 20; ++i) {
    change = detailed(i);
    if (!screen.shows(change, Screen::kAll)) break;
    ASSERT_LT(i, 19U) << "the encoder sends it in spite of the bitrate";
  }
  for (int i = 0; !screen.shows(change, Screen::kRepeat); ++i) {
    ASSERT_LT(i, 100) << "it never comes";
  }
  EXPECT_GT(screen.sharpness(change), 20.0);
}

// A terminal's line, of which the rest of the screen is none.
constexpr RowBand kLine{100, 117};

TEST(SettlingVp8Test, ALineThatChangesOnASettledScreenComesSharpAndLeavesTheRestAsItWas) {
  Screen screen(screenEncoder(), 2500);
  const auto picture = detailed(1);
  screen.shows(picture, Screen::kAll);
  for (int i = 0; i < 120; ++i) screen.shows(picture, Screen::kRepeat);
  const RowBand rest{kLine.bottom + 16, Screen::kHeight};
  const double restBefore = screen.sharpness(picture, rest);

  for (int n = 0; n < 30; ++n) {
    for (int y = kLine.top; y < kLine.bottom; ++y) {
      for (int x = 10 * n; x < 10 * n + 8; ++x) {
        picture->MutableDataY()[y * picture->StrideY() + x] = static_cast<uint8_t>(30 + 5 * n);
      }
    }
    EXPECT_TRUE(screen.shows(picture, kLine));
  }
  EXPECT_GT(screen.sharpness(picture, kLine), 38.0);
  EXPECT_GT(screen.sharpness(picture, rest), restBefore - 0.1);
}

TEST(SettlingVp8Test, AfterMotionTheWholeScreenBecomesSharpThoughALineKeepsChanging) {
  Screen screen(screenEncoder(), 2500);
  auto picture = detailed(0);
  for (unsigned i = 0; i < 20; ++i) {
    picture = detailed(i);
    screen.shows(picture, Screen::kAll);
  }
  const double inMotion = screen.sharpness(picture);
  for (int blink = 0; blink < 60; ++blink) {
    picture->MutableDataY()[108 * picture->StrideY() + 20] = blink % 2 == 0 ? 16 : 235;
    screen.shows(picture, kLine);
  }
  EXPECT_LT(inMotion, 38.0);
  EXPECT_GT(screen.sharpness(picture), 40.0);
}

TEST(SettlingVp8Test, EveryPictureIsOfTheProfileForText) {
  Screen screen(screenEncoder(), 5000);
  EXPECT_TRUE(screen.shows(detailed(1), Screen::kAll));
  EXPECT_EQ(screen.profile(), 1);
  EXPECT_TRUE(screen.shows(detailed(2), Screen::kAll));
  EXPECT_EQ(screen.profile(), 1);
}

// A terminal whose lines are 17 high, at any bitrate.
TEST(SettlingVp8Test, WhatScrollsAndStopsIsWhatTheViewerSees) {
  for (const unsigned kbps : {300U, 2500U, 20000U}) {
    SCOPED_TRACE(kbps);
    Screen scrolled(screenEncoder(), kbps);
    ScrollingScreen terminal(Screen::kWidth, Screen::kHeight);
    terminal.write();
    scrolled.shows(copyOf(terminal), Screen::kAll);
    for (int i = 0; i < 60; ++i) {
      terminal.scroll(terminal.all(), 17);
      scrolled.shows(copyOf(terminal), Screen::kAll);
    }
    const auto last = copyOf(terminal);
    Screen still(screenEncoder(), kbps);
    still.shows(last, Screen::kAll);
    for (int i = 0; i < 120; ++i) {
      scrolled.shows(last, Screen::kRepeat);
      still.shows(last, Screen::kRepeat);
    }
    EXPECT_GT(scrolled.sharpness(last), still.sharpness(last) - 1);
    EXPECT_GT(scrolled.sharpness(last), kbps < 1000 ? 30.0 : 40.0);
  }
}

TEST(SettlingVp8Test, ScrollingTakesTheBitsOfWhatIsNewOnly) {
  Screen screen(screenEncoder(), 20000);
  ScrollingScreen terminal(Screen::kWidth, Screen::kHeight);
  const auto shows = [&] {
    const size_t before = screen.bytes();
    screen.shows(copyOf(terminal), Screen::kAll);
    return screen.bytes() - before;
  };
  terminal.write();
  shows();
  for (int i = 0; i < 30; ++i) {
    terminal.write();
    shows();
  }
  const size_t whole = shows();
  terminal.write();
  const size_t another = shows();
  // 16 of 360 rows are new each time.
  for (int i = 0; i < 20; ++i) {
    terminal.scroll(terminal.all(), 16);
    const size_t moved = shows();
    if (i == 0) continue;  // the first comes on top of a picture that was not sharp yet
    EXPECT_LT(moved, another / 5) << whole;
  }
}

}  // namespace
}  // namespace tovalin
