#include "platform/webrtc/screen_source.h"

#include <api/make_ref_counted.h>
#include <api/video/video_frame.h>
#include <api/video/video_rotation.h>
#include <media/base/adapted_video_track_source.h>
#include <rtc_base/time_utils.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/webrtc/picture_converter.h"

namespace tovalin {

using Rect = webrtc::VideoFrame::UpdateRect;

namespace {

constexpr int64_t kLeastStepNs = 1'000'000;  // the library looks at milliseconds
constexpr int64_t kJustNowNs = 80'000'000;   // a picture has that time to itself

}  // namespace

// Its base hides the operation by which a receiver comes, hence two objects. Not thread-safe.
class ScreenSource::Feed : public rtc::AdaptedVideoTrackSource {
 public:
  explicit Feed(std::shared_ptr<FrameTrace> trace) : trace_(std::move(trace)) {}

  void push(const PixelBuffer& picture, int64_t timestampNs);

  bool is_screencast() const override { return true; }
  absl::optional<bool> needs_denoising() const override { return false; }
  SourceState state() const override { return kLive; }
  bool remote() const override { return false; }

 private:
  struct Identity {
    uint64_t stream;
    uint64_t number;
  };

  const std::shared_ptr<FrameTrace> trace_;
  PictureConverter converter_;
  std::optional<Identity> delivered_;  // the picture last given to the library
};

void ScreenSource::Feed::push(const PixelBuffer& picture, int64_t timestampNs) {
  const int width = picture.width();
  const int height = picture.height();
  if (width <= 0 || height <= 0) return;
  const int64_t timestampUs = timestampNs / 1000;
  const int64_t begun = FrameTrace::now();

  // The sizes that the library would like are not followed: a screencast is never scaled.
  int adaptedWidth, adaptedHeight, cropWidth, cropHeight, cropX, cropY;
  if (!AdaptFrame(width, height, timestampUs, &adaptedWidth, &adaptedHeight, &cropWidth,
                  &cropHeight, &cropX, &cropY)) {
    converter_.skip(picture);
    return;
  }
  // The library's encoder queue encodes only the newest of the frames that wait in it, so frames
  // never pile up there; the converter's fixed number of copies bounds what is on its way.
  const auto converted = converter_.convert(picture);
  if (!converted) {
    // For want of the pixels the encoder is not to blame, and a newer picture is on its way.
    if (converter_.pixelsGone()) return;
    trace_->fellBehind(timestampUs);
    OnFrameDropped();
    return;
  }
  picture.giveUp();
  trace_->converted(timestampUs, picture.times(), begun);
  // The library adds up the rectangles of the frames that it passes over on their way to the
  // encoder: what arrives there as a repeat is one.
  RowBand changed{0, height};
  if (delivered_ && delivered_->stream == picture.streamIdentity()) {
    changed = converter_.changedSince(delivered_->number, height);
  }
  delivered_ = {picture.streamIdentity(), picture.pictureNumber()};
  // The library calls a rectangle empty that has neither width nor height, and ends the program
  // when two that have only a width are added up.
  const bool isRepeat = changed.top == changed.bottom;
  OnFrame(webrtc::VideoFrame::Builder()
              .set_video_frame_buffer(converted)
              .set_rotation(webrtc::kVideoRotation_0)
              .set_timestamp_us(timestampUs)
              .set_update_rect(isRepeat ? Rect{}
                                        : Rect{0, changed.top, width, changed.bottom - changed.top})
              .build());
}

ScreenSource::ScreenSource(std::shared_ptr<FrameTrace> trace)
    : feed_(rtc::make_ref_counted<Feed>(std::move(trace))) {}

ScreenSource::~ScreenSource() = default;

void ScreenSource::push(const PixelBufferRef& picture, int64_t timestampNs) {
  std::lock_guard lock(mutex_);
  // A re-send that the next picture has overtaken on another thread. It would undo what that one
  // shows, and the copy of the next would go to it, whose pixels are given up.
  if (last_ && last_->streamIdentity() == picture->streamIdentity() &&
      last_->pictureNumber() > picture->pictureNumber()) {
    return;
  }
  const bool isNew = !last_ || last_->streamIdentity() != picture->streamIdentity() ||
                     last_->pictureNumber() != picture->pictureNumber();
  last_ = picture;
  deliver(timestampNs);
  if (isNew) changedNs_ = lastTimestampNs_;
}

std::optional<webrtc::TimeDelta> ScreenSource::repeat() {
  std::lock_guard lock(mutex_);
  // On the clock of the pictures, which is the library's own.
  const int64_t now = rtc::TimeNanos();
  const int64_t rested = now - changedNs_;
  // What the newer one has asked for was taken for this.
  if (last_ && rested < kJustNowNs) {
    return std::min(kRepeatAfter, kRepeatAfter - webrtc::TimeDelta::Micros(rested / 1000));
  }
  awaitsRepeat_ = false;
  if (last_) deliver(now);
  return std::nullopt;
}

void ScreenSource::deliver(int64_t timestampNs) {
  // A picture may have been captured before a repeat that overtook it; the library refuses what
  // seems to go back in time.
  lastTimestampNs_ = std::max(timestampNs, lastTimestampNs_ + kLeastStepNs);
  feed_->push(*last_, lastTimestampNs_);
}

bool ScreenSource::GetStats(Stats* stats) {
  return static_cast<webrtc::VideoTrackSourceInterface&>(*feed_).GetStats(stats);
}

void ScreenSource::AddOrUpdateSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink,
                                   const rtc::VideoSinkWants& wants) {
  static_cast<webrtc::VideoTrackSourceInterface&>(*feed_).AddOrUpdateSink(sink, wants);
  if (!sinks_.insert(sink).second) return;
  std::lock_guard lock(mutex_);
  // Under its own time: one that is on its way here must not be older.
  if (last_) feed_->push(*last_, lastTimestampNs_);
}

void ScreenSource::RemoveSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink) {
  sinks_.erase(sink);
  static_cast<webrtc::VideoTrackSourceInterface&>(*feed_).RemoveSink(sink);
}

}  // namespace tovalin
