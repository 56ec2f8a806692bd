#include "platform/webrtc/settling_encoder.h"

#include <api/video/video_frame.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>
#include <modules/video_coding/utility/vp8_constants.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/webrtc/encoder_share.h"
#include "platform/webrtc/refinement_plan.h"
#include "platform/webrtc/shown_picture.h"

namespace tovalin {
namespace {

// By how much the time stamp of a move is ahead of its picture's, in 90ths of a millisecond: about
// as long as the picture's encoding takes, so that it arrives as stamped.
constexpr uint32_t kMostAhead = 5 * 90;

using FrameTypes = std::vector<webrtc::VideoFrameType>;

// The library calls all of it on the encoder's queue.
class SettlingEncoder final : public webrtc::VideoEncoder, private webrtc::EncodedImageCallback {
 public:
  SettlingEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder,
                  std::shared_ptr<PictureOrder> order, std::shared_ptr<RepeatRequests> repeats,
                  std::shared_ptr<FrameTrace> trace)
      : encoder_(std::move(encoder)),
        order_(std::move(order)),
        repeats_(std::move(repeats)),
        trace_(std::move(trace)) {}

  using webrtc::VideoEncoder::InitEncode;
  int InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) override {
    beginAnew();
    return encoder_->InitEncode(codec, settings);
  }

  int32_t Release() override {
    beginAnew();
    return encoder_->Release();
  }

  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override {
    receiver_ = callback;
    return encoder_->RegisterEncodeCompleteCallback(callback == nullptr ? nullptr : this);
  }

  int32_t Encode(const webrtc::VideoFrame& frame, const FrameTypes* types) override {
    const bool keyFrameWanted =
        types != nullptr &&
        std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end();
    // Without a rectangle it covers the whole frame.
    const auto rectangle = frame.update_rect();
    const RowBand changed{rectangle.offset_y, rectangle.offset_y + rectangle.height};
    const auto picture = frame.video_frame_buffer()->ToI420();
    const I420View view = viewOf(*picture);
    shown_.changes(view.width, view.height, changed);
    // The library's VP8 encoder lets repeats go by too, with less care: it forgets the changes that
    // it dropped to keep to the bitrate. Told of no repeats it encodes what it is given.
    webrtc::VideoFrame anyFrame = frame;
    anyFrame.clear_update_rect();
    const RefinementPlan::Time at(frame.timestamp_us());
    if (const auto* scrolled = keyFrameWanted ? nullptr : move(anyFrame, types, view)) {
      const auto rest =
          plan_.judgeMoved(at, scrolled->moved, scrolled->move.from, scrolled->restRows);
      if (!isEmpty(rest)) return encode(anyFrame, types, view, rest, &scrolled->rest);
      plan_.encoded(false);
      shown_.sent(view);
      return WEBRTC_VIDEO_CODEC_OK;
    }
    // Not reported as dropped: the library notices by itself which frames an encoder has passed
    // over, and would count this one twice.
    const auto rows = plan_.judge(at, changed, keyFrameWanted);
    return rows ? encode(anyFrame, types, view, *rows, nullptr) : WEBRTC_VIDEO_CODEC_OK;
  }

  void OnLossNotification(const LossNotification& loss) override {
    beginAnew();
    encoder_->OnLossNotification(loss);
  }

  // A change of the rates needs no picture of its own: a settled one cannot become sharper, and
  // whether the next one is still sharp shows in its quantiser.
  void SetRates(const RateControlParameters& rates) override {
    rates_ = rates;
    share_.bitrate(rates.bitrate.get_sum_bps());
    tellShare();
  }

  void SetFecControllerOverride(webrtc::FecControllerOverride* fec) override {
    encoder_->SetFecControllerOverride(fec);
  }
  void OnPacketLossRateUpdate(float loss) override { encoder_->OnPacketLossRateUpdate(loss); }
  void OnRttUpdate(int64_t milliseconds) override { encoder_->OnRttUpdate(milliseconds); }
  EncoderInfo GetEncoderInfo() const override { return encoder_->GetEncoderInfo(); }

 private:
  static I420View viewOf(const webrtc::I420BufferInterface& picture) {
    return {picture.width(), picture.height(),  picture.DataY(),   picture.DataU(),
            picture.DataV(), picture.StrideY(), picture.StrideU(), picture.StrideV()};
  }

  void beginAnew() {
    plan_ = {};
    shown_.forget();
  }

  void tellShare() {
    const double all = rates_.bitrate.get_sum_bps();
    const double share = share_.tell();
    auto rates = rates_;
    if (all > 0) {
      for (std::size_t layer = 0; layer < webrtc::kMaxSpatialLayers; ++layer) {
        for (std::size_t sub = 0; sub < webrtc::kMaxTemporalStreams; ++sub) {
          if (!rates_.bitrate.HasBitrate(layer, sub)) continue;
          rates.bitrate.SetBitrate(
              layer, sub,
              static_cast<uint32_t>(rates_.bitrate.GetBitrate(layer, sub) * share / all));
        }
      }
    }
    encoder_->SetRates(rates);
  }

  // What has scrolled, if the viewer has been sent that; else null.
  const ScrollSearch::Found* move(webrtc::VideoFrame frame, const FrameTypes* types,
                                  const I420View& view) {
    const auto ahead = std::min((frame.timestamp() - lastTimestamp_) / 2, kMostAhead);
    if (!order_->movable || ahead == 0) return nullptr;
    const auto begun = FrameTrace::now();
    const auto* scrolled = shown_.scrolled(view);
    if (scrolled == nullptr) return nullptr;
    frame.set_timestamp(frame.timestamp() - ahead);
    lastTimestamp_ = frame.timestamp();
    given_ = {frame.timestamp_us(), begun};
    order_->move = &scrolled->move;
    encoder_->Encode(frame, types);
    // The encoder takes it off once it has moved that.
    const bool moved = std::exchange(order_->move, nullptr) == nullptr;
    if (!moved) return nullptr;
    shown_.moved(scrolled->move);
    return scrolled;
  }

  // Of these rows, only the macroblocks that have a 1 in `blocks` if there is such a list.
  int32_t encode(const webrtc::VideoFrame& frame, const FrameTypes* types, const I420View& view,
                 RowBand rows, const std::vector<uint8_t>* blocks) {
    order_->rows = rows == RefinementPlan::kAllRows ? std::nullopt : std::optional(rows);
    order_->blocks = blocks;
    given_ = {frame.timestamp_us(), FrameTrace::now()};
    lastTimestamp_ = frame.timestamp();
    share_.pass(lastTimestamp_);
    if (share_.isNews()) tellShare();
    cameOut_ = cameOutSharp_ = false;
    const int32_t result = encoder_->Encode(frame, types);
    order_->blocks = nullptr;
    if (cameOut_) shown_.sent(view);
    if (!cameOutSharp_) repeats_->request();
    return result;
  }

  Result OnEncodedImage(const webrtc::EncodedImage& image,
                        const webrtc::CodecSpecificInfo* codec) override {
    if (order_->moved) {
      share_.beside(image.Timestamp(), image.size());
      trace_->moved(given_.microseconds, image.Timestamp(), given_.at, image.size());
      return receiver_->OnEncodedImage(image, codec);
    }
    trace_->encoded(given_.microseconds, image.Timestamp(), given_.at, image.size(), image.qp_);
    // A key frame begins anew, however fine its quantiser.
    if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) plan_.keyFrameCame();
    cameOutSharp_ = image.qp_ >= 0 && image.qp_ <= webrtc::kVp8SteadyStateQpThreshold;
    plan_.encoded(cameOutSharp_);
    cameOut_ = true;
    return receiver_->OnEncodedImage(image, codec);
  }

  void OnDroppedFrame(DropReason reason) override { receiver_->OnDroppedFrame(reason); }

  struct Given {
    int64_t microseconds = 0;  // the picture's own time
    int64_t at = 0;            // when the encoder got it
  };

  const std::unique_ptr<webrtc::VideoEncoder> encoder_;
  const std::shared_ptr<PictureOrder> order_;
  const std::shared_ptr<RepeatRequests> repeats_;
  const std::shared_ptr<FrameTrace> trace_;
  Given given_;
  bool cameOut_ = false;        // the picture that was encoded last
  bool cameOutSharp_ = false;   // and was so
  uint32_t lastTimestamp_ = 0;  // that the encoder got, RTP's
  webrtc::EncodedImageCallback* receiver_ = nullptr;
  RateControlParameters rates_;
  EncoderShare share_;
  RefinementPlan plan_;
  ShownPicture shown_;
};

}  // namespace

std::unique_ptr<webrtc::VideoEncoder> settling(std::unique_ptr<webrtc::VideoEncoder> encoder,
                                               std::shared_ptr<PictureOrder> order,
                                               std::shared_ptr<RepeatRequests> repeats,
                                               std::shared_ptr<FrameTrace> trace) {
  return std::make_unique<SettlingEncoder>(std::move(encoder), std::move(order), std::move(repeats),
                                           std::move(trace));
}

}  // namespace tovalin
