#pragma once

#include "platform/webrtc/require_checks.h"

#include <gtest/gtest.h>

#include <api/video/i420_buffer.h>
#include <api/video_codecs/video_encoder.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/webrtc/refinement_plan.h"
#include "platform/webrtc/settling_encoder.h"
#include "tests/integration/webrtc/screen_encoding.h"

namespace tovalin {

using FrameTypes = std::vector<webrtc::VideoFrameType>;
using Rates = webrtc::VideoEncoder::RateControlParameters;
using Blocks = std::vector<uint8_t>;
using Outcome = PictureOrder::Outcome;

inline constexpr auto kDelta = webrtc::VideoFrameType::kVideoFrameDelta;
inline constexpr auto kKey = webrtc::VideoFrameType::kVideoFrameKey;
inline constexpr int kFinest = 15;
inline constexpr int kCoarse = 40;

// What an encoder gets and what becomes of it, at the command of the test.
struct FakeEncoderState {
  std::shared_ptr<PictureOrder> order = std::make_shared<PictureOrder>();
  bool moves = true;
  bool patches = false;
  bool sketches = false;  // what would be a first patch
  int patchesTo = 0;      // in parts: that row, from above it
  size_t writtenBytes = 700;
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
    auto& order = *state_.order;
    const bool moved = order.move != nullptr && state_.moves;
    if (moved) {
      state_.movedBy.push_back(order.move->from);
      order.move = nullptr;
    }
    const bool patched = order.patch && order.changeable && state_.patches;
    if (patched && order.patch->first && state_.sketches) {
      order.patch->fineness = Fineness::sketch;
    }
    if (patched && order.patch->inParts && order.patch->rows.top < state_.patchesTo) {
      order.patch->rows.bottom = std::min(order.patch->rows.bottom, state_.patchesTo);
    }
    const bool black = std::exchange(order.begins, false) && order.black;
    order.outcome = black     ? Outcome::black
                    : patched ? Outcome::patched
                    : moved   ? Outcome::moved
                              : Outcome::encoded;
    const bool written = order.outcome != Outcome::encoded;
    if ((state_.drops && !written) || state_.result != WEBRTC_VIDEO_CODEC_OK) return state_.result;
    webrtc::EncodedImage image;
    image.qp_ = patched ? kFinest : state_.qp;
    if (written) image.SetEncodedData(webrtc::EncodedImageBuffer::Create(state_.writtenBytes));
    image._frameType = state_.makesKeyFrames || black ? kKey : kDelta;
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

struct Requests final : RepeatRequests::Receiver {
  void repeatSoon(RepeatRequests::When when) override {
    ++count;
    last = when;
  }

  int count = 0;
  RepeatRequests::When last = RepeatRequests::When::afterPause;
};

// What the library hears from its encoder.
class EncodedImages final : public webrtc::EncodedImageCallback {
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
    now_ += std::chrono::milliseconds(500);
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
  std::chrono::microseconds now_ = std::chrono::hours(1);
  FakeEncoderState inner_;
  EncodedImages receiver_;
  const std::shared_ptr<RepeatRequests> repeats_ = std::make_shared<RepeatRequests>();
  const std::shared_ptr<PictureOrder> order_ = inner_.order;
  const std::unique_ptr<webrtc::VideoEncoder> encoder_ =
      settling(std::make_unique<FakeEncoder>(inner_), order_, repeats_,
               std::make_shared<FrameTrace>(std::string()));
};

}  // namespace tovalin
