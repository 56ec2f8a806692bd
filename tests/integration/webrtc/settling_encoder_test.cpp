#include "platform/webrtc/settling_encoder.h"

#include <gmock/gmock.h>

#include <api/video/i420_buffer.h>
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
#include <string>
#include <utility>
#include <vector>

#include "platform/webrtc/settled_picture_gate.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;
using Buffer = rtc::scoped_refptr<webrtc::I420BufferInterface>;
using FrameTypes = std::vector<webrtc::VideoFrameType>;
using Rates = webrtc::VideoEncoder::RateControlParameters;

constexpr auto kDelta = webrtc::VideoFrameType::kVideoFrameDelta;
constexpr auto kKey = webrtc::VideoFrameType::kVideoFrameKey;
constexpr int kFinest = 15;
constexpr int kCoarse = 40;

// What an encoder gets and what becomes of it, at the command of the test.
struct FakeEncoderState {
  int qp = kFinest;
  bool drops = false;
  bool makesKeyFrames = false;
  int32_t result = WEBRTC_VIDEO_CODEC_OK;

  std::vector<int64_t> encodedUs;
  std::vector<FrameTypes> types;
  int toldOfRepeats = 0;
  webrtc::EncodedImageCallback* callback = nullptr;
  std::vector<std::string> calls;
};

class FakeEncoder final : public webrtc::VideoEncoder {
 public:
  explicit FakeEncoder(FakeEncoderState& state) : state_(state) {}

  using webrtc::VideoEncoder::InitEncode;
  int InitEncode(const webrtc::VideoCodec*, const Settings&) override {
    state_.calls.emplace_back("init");
    return state_.result;
  }
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override {
    state_.callback = callback;
    return state_.result;
  }
  int32_t Release() override {
    state_.calls.emplace_back("release");
    return state_.result;
  }
  int32_t Encode(const webrtc::VideoFrame& frame, const FrameTypes* types) override {
    state_.encodedUs.push_back(frame.timestamp_us());
    state_.types.push_back(types == nullptr ? FrameTypes() : *types);
    if (frame.has_update_rect()) ++state_.toldOfRepeats;
    if (state_.drops || state_.result != WEBRTC_VIDEO_CODEC_OK) return state_.result;
    webrtc::EncodedImage image;
    image.qp_ = state_.qp;
    image._frameType = state_.makesKeyFrames ? kKey : kDelta;
    image.SetTimestamp(frame.timestamp());
    state_.callback->OnEncodedImage(image, nullptr);
    return state_.result;
  }
  void SetRates(const Rates&) override { state_.calls.emplace_back("rates"); }
  void SetFecControllerOverride(webrtc::FecControllerOverride*) override {
    state_.calls.emplace_back("fec");
  }
  void OnPacketLossRateUpdate(float) override { state_.calls.emplace_back("packet loss"); }
  void OnRttUpdate(int64_t) override { state_.calls.emplace_back("round trip"); }
  void OnLossNotification(const LossNotification&) override {
    state_.calls.emplace_back("loss notification");
  }
  EncoderInfo GetEncoderInfo() const override {
    EncoderInfo info;
    info.implementation_name = "fake";
    return info;
  }

 private:
  FakeEncoderState& state_;
};

// What the library hears from its encoder.
class Receiver final : public webrtc::EncodedImageCallback {
 public:
  Result OnEncodedImage(const webrtc::EncodedImage& image,
                        const webrtc::CodecSpecificInfo*) override {
    images.push_back(image);
    return Result(Result::OK, 7);
  }
  void OnDroppedFrame(DropReason) override { ++dropped; }

  std::vector<webrtc::EncodedImage> images;
  int dropped = 0;
};

webrtc::VideoFrame frameOf(const Buffer& buffer, std::chrono::microseconds at, bool repeat) {
  webrtc::VideoFrame::UpdateRect rect{0, 0, buffer->width(), buffer->height()};
  if (repeat) rect.MakeEmptyUpdate();
  return webrtc::VideoFrame::Builder()
      .set_video_frame_buffer(buffer)
      .set_timestamp_us(at.count())
      .set_timestamp_rtp(static_cast<uint32_t>(at.count() * 9 / 100))
      .set_update_rect(rect)
      .build();
}

class SettlingEncoderTest : public testing::Test {
 protected:
  SettlingEncoderTest() { encoder_->RegisterEncodeCompleteCallback(&receiver_); }

  // Whether the picture was given to the encoder inside.
  bool comes(bool repeat, FrameTypes types = {kDelta}) {
    now_ += 500ms;
    const size_t before = inner_.encodedUs.size();
    EXPECT_EQ(encoder_->Encode(frameOf(buffer_, now_, repeat), &types), inner_.result);
    return inner_.encodedUs.size() > before;
  }
  bool changeComes() { return comes(false); }
  bool repeatComes() { return comes(true); }

  void settles() {
    ASSERT_TRUE(changeComes());
    for (int i = 0; i < SettledPictureGate::kSharpeningPictures; ++i) ASSERT_TRUE(repeatComes());
    ASSERT_FALSE(repeatComes());
    ASSERT_TRUE(repeatComes());
    // From here on the next repeat is one too many.
  }

  const Buffer buffer_ = webrtc::I420Buffer::Create(64, 48);
  std::chrono::microseconds now_ = 1h;
  FakeEncoderState inner_;
  Receiver receiver_;
  const std::unique_ptr<webrtc::VideoEncoder> encoder_ =
      settling(std::make_unique<FakeEncoder>(inner_));
};

TEST_F(SettlingEncoderTest, RepeatsOfASettledPictureGoByAsIfTheyHadBeenEncoded) {
  settles();
  const size_t images = receiver_.images.size();
  EXPECT_FALSE(repeatComes());
  EXPECT_THAT(receiver_.images, SizeIs(images));
  EXPECT_EQ(receiver_.dropped, 0);
}

TEST_F(SettlingEncoderTest, ASettledPictureIsStillSentOnceASecond) {
  settles();
  const size_t images = receiver_.images.size();
  for (int i = 0; i < 20; ++i) repeatComes();
  EXPECT_THAT(receiver_.images, SizeIs(images + 10));
}

TEST_F(SettlingEncoderTest, TheEncoderInsideIsToldOfNoRepeats) {
  settles();
  EXPECT_EQ(inner_.toldOfRepeats, 0);
}

TEST_F(SettlingEncoderTest, APictureWithoutARectangleCountsAsChanged) {
  settles();
  auto frame = frameOf(buffer_, now_ + 1us, true);
  frame.clear_update_rect();
  const size_t before = inner_.encodedUs.size();
  encoder_->Encode(frame, nullptr);
  EXPECT_THAT(inner_.encodedUs, SizeIs(before + 1));
}

TEST_F(SettlingEncoderTest, AChangeAfterTheSkipIsEncodedAtOnce) {
  settles();
  ASSERT_FALSE(repeatComes());
  EXPECT_TRUE(changeComes());
  EXPECT_EQ(receiver_.images.back().Timestamp(), static_cast<uint32_t>(now_.count() * 9 / 100));
}

TEST_F(SettlingEncoderTest, AKeyFrameRequestPassesToTheEncoderInsideAtOnce) {
  settles();
  inner_.makesKeyFrames = true;
  EXPECT_TRUE(comes(true, {kKey}));
  EXPECT_THAT(inner_.types.back(), ElementsAre(kKey));
  EXPECT_EQ(receiver_.images.back()._frameType, kKey);
}

TEST_F(SettlingEncoderTest, AKeyFrameThatTheEncoderMakesByItselfIsSharpenedAnew) {
  settles();
  ASSERT_FALSE(repeatComes());
  inner_.makesKeyFrames = true;
  ASSERT_TRUE(repeatComes());
  inner_.makesKeyFrames = false;
  EXPECT_TRUE(repeatComes());
  EXPECT_TRUE(repeatComes());
}

TEST_F(SettlingEncoderTest, AChangeThatTheEncoderInsideDropsIsMadeUpFor) {
  settles();
  inner_.drops = true;
  EXPECT_TRUE(changeComes());
  EXPECT_TRUE(repeatComes());
  inner_.drops = false;
  EXPECT_TRUE(repeatComes());
}

TEST_F(SettlingEncoderTest, AChangeThatTheEncoderInsideFailsOnIsMadeUpFor) {
  settles();
  inner_.result = WEBRTC_VIDEO_CODEC_ERROR;
  EXPECT_TRUE(changeComes());
  inner_.result = WEBRTC_VIDEO_CODEC_OK;
  EXPECT_TRUE(repeatComes());
}

TEST_F(SettlingEncoderTest, APictureThatStaysCoarseOrHidesItsQuantiserNeverSettles) {
  for (const int qp : {kCoarse, -1}) {
    inner_.qp = qp;
    ASSERT_TRUE(changeComes());
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(repeatComes());
  }
}

TEST_F(SettlingEncoderTest, ANewStartAReleaseAndALossBeginAnew) {
  const webrtc::VideoEncoder::Settings settings(webrtc::VideoEncoder::Capabilities(false), 1, 1200);
  const webrtc::VideoCodec codec;
  settles();
  encoder_->InitEncode(&codec, settings);
  EXPECT_TRUE(repeatComes());
  settles();
  encoder_->Release();
  EXPECT_TRUE(repeatComes());
  settles();
  encoder_->OnLossNotification({});
  EXPECT_TRUE(repeatComes());
  EXPECT_THAT(inner_.calls, ElementsAre("init", "release", "loss notification"));
}

TEST_F(SettlingEncoderTest, EverythingElsePassesThrough) {
  encoder_->SetRates(Rates());
  encoder_->SetFecControllerOverride(nullptr);
  encoder_->OnPacketLossRateUpdate(0.1F);
  encoder_->OnRttUpdate(50);
  EXPECT_THAT(inner_.calls, ElementsAre("rates", "fec", "packet loss", "round trip"));
  EXPECT_EQ(encoder_->GetEncoderInfo().implementation_name, "fake");
  inner_.callback->OnDroppedFrame(webrtc::EncodedImageCallback::DropReason::kDroppedByEncoder);
  EXPECT_EQ(receiver_.dropped, 1);
  EXPECT_EQ(inner_.callback->OnEncodedImage({}, nullptr).frame_id, 7u);
  encoder_->RegisterEncodeCompleteCallback(nullptr);
  EXPECT_EQ(inner_.callback, nullptr);
}

// The library's own encoder and decoder.

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
  bool shows(const Buffer& buffer, bool repeat) {
    const int before = images_;
    now_ += repeat ? 500ms : 33ms;
    const FrameTypes types{images_ == 0 ? kKey : kDelta};
    EXPECT_EQ(encoder_->Encode(frameOf(buffer, now_, repeat), &types), WEBRTC_VIDEO_CODEC_OK);
    return images_ > before;
  }

  int images() const { return images_; }
  double sharpness(const Buffer& original) const {
    return libyuv::CalcFramePsnr(original->DataY(), original->StrideY(), seen_->DataY(),
                                 seen_->StrideY(), kWidth, kHeight);
  }

  static constexpr int kWidth = 640;
  static constexpr int kHeight = 360;

 private:
  Result OnEncodedImage(const webrtc::EncodedImage& image,
                        const webrtc::CodecSpecificInfo*) override {
    ++images_;
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
  Buffer seen_;
};

// Hard to encode: noise above, fine steps below.
Buffer detailed(unsigned seed) {
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
  Screen settled(settling(webrtc::VP8Encoder::Create()), 2500);
  Buffer picture;
  for (unsigned i = 0; i < 20; ++i) {
    picture = detailed(i);
    plain.shows(picture, false);
    settled.shows(picture, false);
  }
  // A minute.
  for (int i = 0; i < 120; ++i) {
    plain.shows(picture, true);
    settled.shows(picture, true);
  }
  EXPECT_GT(plain.sharpness(picture), 40.0);
  EXPECT_GT(settled.sharpness(picture), plain.sharpness(picture) - 0.3);
  EXPECT_LT(settled.images(), plain.images() - 20);
}

TEST(SettlingVp8Test, AChangeThatWasTooBigForTheBitrateComesWithTheNextRepeat) {
  Screen screen(settling(webrtc::VP8Encoder::Create()), 300);
  const auto flat = webrtc::I420Buffer::Create(Screen::kWidth, Screen::kHeight);
  webrtc::I420Buffer::SetBlack(flat.get());
  screen.shows(flat, false);
  int repeats = 0;
  while (repeats < 100 && screen.shows(flat, true)) ++repeats;
  ASSERT_LT(repeats, 100) << "it never settles";
  // Just before the change, so that the repeat after it comes too early to keep the video alive.
  ASSERT_TRUE(screen.shows(flat, true));

  const Buffer change = detailed(1);
  ASSERT_FALSE(screen.shows(change, false)) << "the encoder sends it in spite of the bitrate";
  EXPECT_TRUE(screen.shows(change, true));
}

}  // namespace
}  // namespace tovalin
