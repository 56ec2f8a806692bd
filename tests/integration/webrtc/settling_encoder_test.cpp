#include "platform/webrtc/settling_encoder.h"

#include <gmock/gmock.h>

#include <api/video/i420_buffer.h>
#include <api/video_codecs/video_codec.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/webrtc/refinement_plan.h"
#include "tests/integration/webrtc/screen_encoding.h"
#include "tests/integration/webrtc/scrolling_screen.h"

namespace tovalin {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;
using FrameTypes = std::vector<webrtc::VideoFrameType>;
using Rates = webrtc::VideoEncoder::RateControlParameters;
using Blocks = std::vector<uint8_t>;

constexpr auto kDelta = webrtc::VideoFrameType::kVideoFrameDelta;
constexpr auto kKey = webrtc::VideoFrameType::kVideoFrameKey;
constexpr int kFinest = 15;
constexpr int kCoarse = 40;

// What an encoder gets and what becomes of it, at the command of the test.
struct FakeEncoderState {
  std::shared_ptr<PictureOrder> order = std::make_shared<PictureOrder>();
  bool moves = true;
  size_t movedBytes = 700;
  int qp = kFinest;
  bool drops = false;
  bool makesKeyFrames = false;
  int32_t result = WEBRTC_VIDEO_CODEC_OK;

  std::vector<int64_t> encodedUs;
  std::vector<PictureOrder> orders;  // as they were
  std::vector<Blocks> blocks;        // of these
  std::vector<int> movedBy;
  std::vector<FrameTypes> types;
  std::vector<uint32_t> bitrates;
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
    state_.orders.push_back(*state_.order);
    state_.blocks.push_back(state_.order->blocks == nullptr ? Blocks() : *state_.order->blocks);
    state_.order->moved = state_.order->move != nullptr && state_.moves;
    if (state_.order->moved) {
      state_.movedBy.push_back(state_.order->move->from);
      state_.order->move = nullptr;
    }
    if ((state_.drops && !state_.order->moved) || state_.result != WEBRTC_VIDEO_CODEC_OK)
      return state_.result;
    webrtc::EncodedImage image;
    image.qp_ = state_.qp;
    if (state_.order->moved) {
      image.SetEncodedData(webrtc::EncodedImageBuffer::Create(state_.movedBytes));
    }
    image._frameType = state_.makesKeyFrames ? kKey : kDelta;
    image.SetTimestamp(frame.timestamp());
    state_.callback->OnEncodedImage(image, nullptr);
    return state_.result;
  }
  void SetRates(const Rates& rates) override {
    state_.calls.emplace_back("rates");
    state_.bitrates.push_back(rates.bitrate.get_sum_bps());
  }
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

class SettlingEncoderTest : public testing::Test {
 protected:
  SettlingEncoderTest() { encoder_->RegisterEncodeCompleteCallback(&receiver_); }

  // Whether the picture was given to the encoder inside.
  bool comes(bool repeat, FrameTypes types = {kDelta}) {
    now_ += 500ms;
    const size_t before = inner_.encodedUs.size();
    EXPECT_EQ(
        encoder_->Encode(frameOf(buffer_, now_, repeat ? RowBand{} : RowBand{0, buffer_->height()}),
                         &types),
        inner_.result);
    return inner_.encodedUs.size() > before;
  }
  bool changeComes() { return comes(false); }
  bool repeatComes() { return comes(true); }

  void settles() {
    ASSERT_TRUE(changeComes());
    int repeats = 0;
    while (repeatComes()) ASSERT_LT(++repeats, 3 * RefinementPlan::kSharpeningPictures);
    ASSERT_TRUE(repeatComes());
    // From here on the next repeat is one too many.
  }

  const I420 buffer_ = webrtc::I420Buffer::Create(64, 48);
  std::chrono::microseconds now_ = 1h;
  FakeEncoderState inner_;
  Receiver receiver_;
  const std::shared_ptr<RepeatRequests> repeats_ = std::make_shared<RepeatRequests>();
  const std::shared_ptr<PictureOrder> order_ = inner_.order;
  const std::unique_ptr<webrtc::VideoEncoder> encoder_ =
      settling(std::make_unique<FakeEncoder>(inner_), order_, repeats_,
               std::make_shared<FrameTrace>(std::string()));
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

TEST_F(SettlingEncoderTest, AllRowsAreActiveUntilThePictureHasSettledAndThenNone) {
  for (int i = 0; i <= RefinementPlan::kSharpeningPictures; ++i) {
    ASSERT_TRUE(comes(i > 0));
    ASSERT_EQ(order_->rows, std::nullopt);
  }
  ASSERT_FALSE(repeatComes());
  ASSERT_TRUE(repeatComes());
  EXPECT_EQ(order_->rows, RowBand{});
}

TEST_F(SettlingEncoderTest, TheRowsOfAChangeAreActiveAndAllOfThemForAKeyFrame) {
  settles();
  now_ += 1us;
  EXPECT_EQ(encoder_->Encode(frameOf(buffer_, now_, {16, 36}), nullptr), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(order_->rows, (RowBand{16, 36}));
  EXPECT_TRUE(comes(true, {kKey}));
  EXPECT_EQ(order_->rows, std::nullopt);
}

TEST_F(SettlingEncoderTest, TheEncoderInsideIsToldOfNoRepeats) {
  settles();
  EXPECT_EQ(inner_.toldOfRepeats, 0);
}

TEST_F(SettlingEncoderTest, APictureWithoutARectangleCountsAsChanged) {
  settles();
  auto frame = frameOf(buffer_, now_ + 1us, {});
  frame.clear_update_rect();
  const size_t before = inner_.encodedUs.size();
  encoder_->Encode(frame, nullptr);
  EXPECT_THAT(inner_.encodedUs, SizeIs(before + 1));
}

TEST_F(SettlingEncoderTest, AChangeAfterTheSkipIsEncodedAtOnce) {
  settles();
  ASSERT_FALSE(repeatComes());
  EXPECT_TRUE(changeComes());
  EXPECT_EQ(receiver_.images.back().Timestamp(), timestampOf(now_));
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

struct Requests final : RepeatRequests::Receiver {
  void repeatSoon() override { ++count; }

  int count = 0;
};

TEST_F(SettlingEncoderTest, ARepeatIsAskedForUntilThePictureIsSharp) {
  const auto requests = std::make_shared<Requests>();
  repeats_->add(requests);
  inner_.qp = kCoarse;
  changeComes();
  repeatComes();
  EXPECT_EQ(requests->count, 2);
  inner_.qp = kFinest;
  repeatComes();
  repeatComes();
  EXPECT_EQ(requests->count, 2);
}

TEST_F(SettlingEncoderTest, ARepeatIsAskedForWhenTheEncoderInsideDropsOrFails) {
  const auto requests = std::make_shared<Requests>();
  repeats_->add(requests);
  settles();
  const int before = requests->count;
  inner_.drops = true;
  changeComes();
  EXPECT_EQ(requests->count, before + 1);
  inner_.result = WEBRTC_VIDEO_CODEC_ERROR;
  changeComes();
  EXPECT_EQ(requests->count, before + 2);
}

TEST_F(SettlingEncoderTest, ASourceThatIsGoneIsAskedForNothing) {
  repeats_->add(std::make_shared<Requests>());
  inner_.qp = kCoarse;
  EXPECT_TRUE(changeComes());
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

// A screen large enough to scroll.
class MovingEncoderTest : public SettlingEncoderTest {
 protected:
  MovingEncoderTest() {
    screen_.write();
    shows(screen_.rows());
    order_->movable = true;
  }

  // What the encoder got of it: one picture, or two.
  void shows(RowBand changed, FrameTypes types = {kDelta}) {
    inner_.orders.clear();
    inner_.blocks.clear();
    inner_.movedBy.clear();
    receiver_.images.clear();
    now_ += 33ms;
    const I420View view = screen_.view();
    const auto picture = webrtc::I420Buffer::Copy(view.width, view.height, view.y, view.strideY,
                                                  view.u, view.strideU, view.v, view.strideV);
    encoder_->Encode(frameOf(picture, now_, changed), &types);
  }
  void scrolls(int from, FrameTypes types = {kDelta}) {
    screen_.scroll(screen_.all(), from);
    shows(screen_.rows(), types);
  }

  ScrollingScreen screen_{800, 600};
};

TEST_F(MovingEncoderTest, AScrollIsMovedAheadAndTheRestFollows) {
  scrolls(16);
  ASSERT_THAT(inner_.movedBy, ElementsAre(16));
  ASSERT_THAT(receiver_.images, SizeIs(2));
  const auto picture = timestampOf(now_);
  EXPECT_EQ(receiver_.images[1].Timestamp(), picture);
  EXPECT_LT(receiver_.images[0].Timestamp(), picture);
  EXPECT_GE(receiver_.images[0].Timestamp(), picture - 450);
  EXPECT_EQ(inner_.orders[1].move, nullptr);
  ASSERT_THAT(inner_.blocks[1], SizeIs(50 * 38));
  // The last row and the half one below it.
  EXPECT_EQ(std::ranges::count(inner_.blocks[1], 1), 2 * 50);
  EXPECT_EQ(order_->blocks, nullptr) << "which is gone by the next picture";
}

TEST_F(MovingEncoderTest, TimeStampsOfMovesNeverGoBack) {
  uint32_t last = 0;
  for (int i = 0; i < 10; ++i) {
    screen_.scroll(screen_.all(), 16);
    receiver_.images.clear();
    now_ += 1ms;
    const I420View view = screen_.view();
    encoder_->Encode(frameOf(webrtc::I420Buffer::Copy(view.width, view.height, view.y, view.strideY,
                                                      view.u, view.strideU, view.v, view.strideV),
                             now_, screen_.rows()),
                     nullptr);
    for (const auto& image : receiver_.images) {
      EXPECT_GT(image.Timestamp(), last);
      last = image.Timestamp();
    }
  }
}

TEST_F(MovingEncoderTest, AKeyFrameNeedsNoMove) {
  scrolls(16, {kKey});
  EXPECT_THAT(inner_.movedBy, ElementsAre());
  EXPECT_THAT(receiver_.images, SizeIs(1));
}

TEST_F(MovingEncoderTest, NothingMovesThatTheEncoderCannotMove) {
  order_->movable = false;
  scrolls(16);
  EXPECT_THAT(inner_.movedBy, ElementsAre());
  EXPECT_THAT(receiver_.images, SizeIs(1));
  order_->movable = true;
  inner_.moves = false;
  scrolls(16);
  EXPECT_THAT(inner_.movedBy, ElementsAre());
  EXPECT_EQ(order_->move, nullptr);
  EXPECT_TRUE(inner_.blocks.back().empty());
  inner_.moves = true;
  scrolls(16);
  EXPECT_THAT(inner_.movedBy, ElementsAre(16));
}

TEST_F(MovingEncoderTest, WhatIsDroppedAfterAMoveComesWithTheNextPicture) {
  inner_.drops = true;
  scrolls(16);
  ASSERT_THAT(inner_.movedBy, ElementsAre(16));
  EXPECT_THAT(receiver_.images, SizeIs(1));
  inner_.drops = false;
  scrolls(16);
  ASSERT_THAT(inner_.movedBy, ElementsAre(16));
  // Two rows that were never sent, and the half one.
  EXPECT_EQ(std::ranges::count(inner_.blocks[1], 1), 3 * 50);
}

TEST_F(MovingEncoderTest, AMoveThatLeavesNothingIsTheWholePicture) {
  // A page of which the end is as empty as what comes from below.
  screen_ = ScrollingScreen(800, 600);
  screen_.write({0, 160, 800, 480});
  shows(screen_.rows());
  const auto before = screen_;
  BlockMove move{32, Blocks(50 * 38, 0)};
  for (int row = 6; row < 34; ++row) {
    std::fill_n(move.moves.begin() + row * 50, 50, uint8_t{1});
  }
  screen_ = before.moved(move);
  shows(screen_.rows());
  ASSERT_THAT(inner_.movedBy, ElementsAre(32));
  EXPECT_THAT(receiver_.images, SizeIs(1));
  shows({});
  EXPECT_THAT(receiver_.images, SizeIs(1)) << "it is sharpened once the screen rests";
}

TEST_F(MovingEncoderTest, TheEncoderIsLeftTheBitsThatMovesDoNotTake) {
  Rates rates;
  rates.bitrate.SetBitrate(0, 0, 1'000'000);
  encoder_->SetRates(rates);
  EXPECT_THAT(inner_.bitrates, ElementsAre(900'000));
  inner_.movedBytes = 20'000;
  scrolls(16);
  ASSERT_THAT(inner_.bitrates, SizeIs(2));
  EXPECT_NEAR(inner_.bitrates.back(), 740'000, 1'000);
}

TEST_F(MovingEncoderTest, ABitrateOfZeroStaysZero) {
  encoder_->SetRates(Rates());
  EXPECT_THAT(inner_.bitrates, ElementsAre(0));
}

}  // namespace
}  // namespace tovalin
