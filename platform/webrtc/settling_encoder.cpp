#include "platform/webrtc/settling_encoder.h"

#include <api/video/video_frame.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>
#include <modules/video_coding/utility/vp8_constants.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/webrtc/encoder_share.h"
#include "platform/webrtc/refinement_plan.h"
#include "platform/webrtc/shown_picture.h"

namespace tovalin {
namespace {

// By how much the time stamp of what is left of a picture is behind that of its move, in 90ths of a
// millisecond: about as long as its encoding takes, so that it arrives as stamped.
constexpr uint32_t kRestBehind = 5 * 90;

// Where something changes all the time, the rest of the screen becomes sharper at least so often.
constexpr auto kRefineAtLeast = std::chrono::milliseconds(200);

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
    share_.pass(anyFrame.timestamp());
    if (plan_.isSettled()) refinedAt_ = at;
    if (order_->begins) return begin(at, anyFrame, types, view);
    const auto* scrolled = keyFrameWanted || !order_->changeable ? nullptr : shown_.scrolled(view);
    if (scrolled != nullptr) return encodeMoved(at, *scrolled, anyFrame, types, view);
    // Not reported as dropped: the library notices by itself which frames an encoder has passed
    // over, and would count this one twice.
    const auto rows = plan_.judge(at, changed, keyFrameWanted);
    if (!rows) return WEBRTC_VIDEO_CODEC_OK;
    if (isEmpty(shown_.unsent())) return refine(at, *rows, anyFrame, types, view);
    const RowBand fresh = shown_.unsent();
    // In parts only while nothing else changes: else the first part might be all that ever comes.
    order_->patch = {fresh, nullptr, Fineness::quick, share_.room(), isEmpty(changed)};
    const auto result = encode(anyFrame, types, view, *rows, nullptr);
    RowBand rest = plan_.coarseBeside(fresh);
    rest.bottom = std::min(rest.bottom, view.height);
    if (order_->outcome != PictureOrder::Outcome::patched || isEmpty(changed) || isEmpty(rest) ||
        at - refinedAt_ < kRefineAtLeast) {
      return result;
    }
    anyFrame.set_timestamp(anyFrame.timestamp() + kRestBehind);
    return refine(at, rest, anyFrame, types, view);
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

  // libvpx takes 60 ms and 130 kB for a key frame of a terminal full of text at 1920x1080, at its
  // worst quantiser. In place of that the picture is patched onto a black one: as it is, if the
  // line takes that at once, or else as a sketch, a ninth of it, ahead of libvpx's picture.
  int32_t begin(RefinementPlan::Time at, webrtc::VideoFrame frame, const FrameTypes* types,
                const I420View& view) {
    order_->black = true;
    auto result = encode(frame, types, view, RefinementPlan::kAllRows, nullptr);
    order_->black = false;
    if (order_->outcome != PictureOrder::Outcome::black) return result;
    const FrameTypes delta{webrtc::VideoFrameType::kVideoFrameDelta};
    const auto rows = *plan_.judge(at, RefinementPlan::kAllRows, true);
    order_->patch = {rows, nullptr, Fineness::quick, share_.room(), false, true};
    frame.set_timestamp(frame.timestamp() + kRestBehind);
    result = encode(frame, &delta, view, rows, nullptr);
    if (cameOut_ || order_->outcome != PictureOrder::Outcome::patched) return result;
    frame.set_timestamp(frame.timestamp() + kRestBehind);
    return encode(frame, &delta, view, rows, nullptr);
  }

  // What has been sent already and could be sharper, in parts.
  int32_t refine(RefinementPlan::Time at, RowBand rows, const webrtc::VideoFrame& frame,
                 const FrameTypes* types, const I420View& view) {
    refinedAt_ = at;
    order_->patch = {rows, nullptr, Fineness::fine, share_.room(), true};
    return encode(frame, types, view, rows, nullptr);
  }

  // As one written frame, if what is left after the move is small enough.
  int32_t encodeMoved(RefinementPlan::Time at, const ScrollSearch::Found& scrolled,
                      webrtc::VideoFrame frame, const FrameTypes* types, const I420View& view) {
    const auto rest = plan_.judgeMoved(at, scrolled.moved, scrolled.move.from, scrolled.restRows);
    order_->move = &scrolled.move;
    order_->patch = {rest, &scrolled.rest, Fineness::quick, share_.roomForOneOfMany(), false};
    const auto result = encode(frame, types, view, RefinementPlan::kAllRows, nullptr);
    order_->move = nullptr;
    // Where the encoder has refused, nothing is known of what is sharp.
    if (order_->outcome == PictureOrder::Outcome::encoded) plan_.keyFrameCame();
    if (order_->outcome != PictureOrder::Outcome::moved) return result;
    if (isEmpty(rest)) {
      plan_.encoded(false);
      shown_.sent(view);
      return result;
    }
    frame.set_timestamp(frame.timestamp() + kRestBehind);
    return encode(frame, types, view, rest, &scrolled.rest);
  }

  // Of these rows, only the macroblocks that have a 1 in `blocks` if there is such a list.
  int32_t encode(webrtc::VideoFrame frame, const FrameTypes* types, const I420View& view,
                 RowBand rows, const std::vector<uint8_t>* blocks) {
    // The rest of a scroll may have been stamped later than this.
    if (lastTimestamp_ && *lastTimestamp_ - frame.timestamp() <= kRestBehind) {
      frame.set_timestamp(*lastTimestamp_ + 1);
    }
    lastTimestamp_ = frame.timestamp();
    order_->rows = rows == RefinementPlan::kAllRows ? std::nullopt : std::optional(rows);
    order_->blocks = blocks;
    given_ = {frame.timestamp_us(), FrameTrace::now()};
    share_.pass(frame.timestamp());
    if (share_.isNews()) tellShare();
    cameOut_ = refined_ = false;
    const auto* move = order_->move;
    patchEnd_ = order_->patch ? order_->patch->rows.bottom : 0;
    const int32_t result = encoder_->Encode(frame, types);
    order_->blocks = nullptr;
    order_->patch.reset();
    if (move != nullptr && order_->move == nullptr) shown_.moved(*move);
    if (cameOut_) shown_.sent(view, sentEnd_);
    if (!cameOut_ || !plan_.isSettled()) {
      repeats_->request(refined_ ? RepeatRequests::When::next : RepeatRequests::When::afterPause);
    }
    return result;
  }

  Result OnEncodedImage(const webrtc::EncodedImage& image,
                        const webrtc::CodecSpecificInfo* codec) override {
    using Outcome = PictureOrder::Outcome;
    if (order_->outcome == Outcome::encoded) {
      share_.encoded(image.Timestamp(), image.size());
    } else {
      share_.beside(image.Timestamp(), image.size());
    }
    // A key frame begins anew, however fine its quantiser.
    if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) plan_.keyFrameCame();
    if (order_->outcome == Outcome::moved || order_->outcome == Outcome::black) {
      trace_->ahead(given_.microseconds, image.Timestamp(), given_.at, image.size());
      return receiver_->OnEncodedImage(image, codec);
    }
    trace_->encoded(given_.microseconds, image.Timestamp(), given_.at, image.size(), image.qp_);
    if (order_->outcome == Outcome::patched && order_->patch->fineness == Fineness::sketch) {
      return receiver_->OnEncodedImage(image, codec);
    }
    sentEnd_ = RefinementPlan::kAllRows.bottom;
    if (order_->outcome == Outcome::patched) {
      const auto& patch = *order_->patch;
      const bool whole = patch.rows.bottom >= patchEnd_;
      if (!whole) sentEnd_ = patch.rows.bottom;
      if (patch.fineness == Fineness::fine) {
        plan_.patched(patch.rows);
        refined_ = true;
      } else if (whole) {
        plan_.patched({});
      }
    } else {
      plan_.encoded(image.qp_ >= 0 && image.qp_ <= webrtc::kVp8SteadyStateQpThreshold);
    }
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
  bool cameOut_ = false;                   // the picture that was encoded last
  bool refined_ = false;                   // by a patch, in place of that
  int sentEnd_ = 0;                        // above which row it holds all that is new
  int patchEnd_ = 0;                       // where the patch ends that was asked for
  RefinementPlan::Time refinedAt_{};       // or settled then
  std::optional<uint32_t> lastTimestamp_;  // that the encoder got, RTP's
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
