#include "platform/webrtc/settling_encoder.h"

#include <api/video/video_frame.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>
#include <modules/video_coding/utility/vp8_constants.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/webrtc/refinement_plan.h"

namespace tovalin {
namespace {

// The library calls all of it on the encoder's queue.
class SettlingEncoder final : public webrtc::VideoEncoder, private webrtc::EncodedImageCallback {
 public:
  SettlingEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder, std::shared_ptr<ActiveRows> active,
                  std::shared_ptr<RepeatRequests> repeats, std::shared_ptr<FrameTrace> trace)
      : encoder_(std::move(encoder)),
        active_(std::move(active)),
        repeats_(std::move(repeats)),
        trace_(std::move(trace)) {}

  using webrtc::VideoEncoder::InitEncode;
  int InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) override {
    plan_ = {};
    return encoder_->InitEncode(codec, settings);
  }

  int32_t Release() override {
    plan_ = {};
    return encoder_->Release();
  }

  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override {
    receiver_ = callback;
    return encoder_->RegisterEncodeCompleteCallback(callback == nullptr ? nullptr : this);
  }

  int32_t Encode(const webrtc::VideoFrame& frame,
                 const std::vector<webrtc::VideoFrameType>* types) override {
    const bool keyFrameWanted =
        types != nullptr &&
        std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end();
    // Without a rectangle it covers the whole frame.
    const auto changed = frame.update_rect();
    const auto rows =
        plan_.judge(RefinementPlan::Time(frame.timestamp_us()),
                    {changed.offset_y, changed.offset_y + changed.height}, keyFrameWanted);
    // Not reported as dropped: the library notices by itself which frames an encoder has passed
    // over, and would count this one twice.
    if (!rows) return WEBRTC_VIDEO_CODEC_OK;
    active_->rows = rows == RefinementPlan::kAllRows ? std::nullopt : rows;
    // The library's VP8 encoder lets repeats go by too, with less care: it forgets the changes that
    // it dropped to keep to the bitrate. Told of no repeats it encodes what it is given.
    webrtc::VideoFrame anyFrame = frame;
    anyFrame.clear_update_rect();
    cameOutSharp_ = false;
    given_ = {frame.timestamp_us(), FrameTrace::now()};
    const int32_t result = encoder_->Encode(anyFrame, types);
    if (!cameOutSharp_) repeats_->request();
    return result;
  }

  void OnLossNotification(const LossNotification& loss) override {
    plan_ = {};
    encoder_->OnLossNotification(loss);
  }

  // A change of the rates needs no picture of its own: a settled one cannot become sharper, and
  // whether the next one is still sharp shows in its quantiser.
  void SetRates(const RateControlParameters& rates) override { encoder_->SetRates(rates); }

  void SetFecControllerOverride(webrtc::FecControllerOverride* fec) override {
    encoder_->SetFecControllerOverride(fec);
  }
  void OnPacketLossRateUpdate(float loss) override { encoder_->OnPacketLossRateUpdate(loss); }
  void OnRttUpdate(int64_t milliseconds) override { encoder_->OnRttUpdate(milliseconds); }
  EncoderInfo GetEncoderInfo() const override { return encoder_->GetEncoderInfo(); }

 private:
  Result OnEncodedImage(const webrtc::EncodedImage& image,
                        const webrtc::CodecSpecificInfo* codec) override {
    trace_->encoded(given_.microseconds, image.Timestamp(), given_.at, image.size(), image.qp_);
    // A key frame begins anew, however fine its quantiser.
    if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) plan_.keyFrameCame();
    cameOutSharp_ = image.qp_ >= 0 && image.qp_ <= webrtc::kVp8SteadyStateQpThreshold;
    plan_.encoded(cameOutSharp_);
    return receiver_->OnEncodedImage(image, codec);
  }

  void OnDroppedFrame(DropReason reason) override { receiver_->OnDroppedFrame(reason); }

  struct Given {
    int64_t microseconds = 0;  // the picture's own time
    int64_t at = 0;            // when the encoder got it
  };

  const std::unique_ptr<webrtc::VideoEncoder> encoder_;
  const std::shared_ptr<ActiveRows> active_;
  const std::shared_ptr<RepeatRequests> repeats_;
  const std::shared_ptr<FrameTrace> trace_;
  Given given_;
  bool cameOutSharp_ = false;  // the picture that was encoded last
  webrtc::EncodedImageCallback* receiver_ = nullptr;
  RefinementPlan plan_;
};

}  // namespace

std::unique_ptr<webrtc::VideoEncoder> settling(std::unique_ptr<webrtc::VideoEncoder> encoder,
                                               std::shared_ptr<ActiveRows> active,
                                               std::shared_ptr<RepeatRequests> repeats,
                                               std::shared_ptr<FrameTrace> trace) {
  return std::make_unique<SettlingEncoder>(std::move(encoder), std::move(active),
                                           std::move(repeats), std::move(trace));
}

}  // namespace tovalin
