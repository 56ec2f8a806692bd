#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/media_stream_interface.h>
#include <api/notifier.h>
#include <api/scoped_refptr.h>
#include <api/units/time_delta.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/frame_trace.h"

namespace tovalin {

// The screen as the media library sees it: a screencast, so that under load it keeps the
// resolution and drops frames, and text stays readable. At 5 Mbit/s a camera is paced less strictly
// and came out a little ahead (one run each of scrolling text: 22.9 pictures a second for 19.4,
// SSIM 0.999 for 0.997, a click 21 ms for 32), but may be scaled down. Whoever begins to watch gets
// the last picture at once: of a still screen the next one may be half a second away.
class ScreenSource : public webrtc::Notifier<webrtc::VideoTrackSourceInterface> {
 public:
  explicit ScreenSource(std::shared_ptr<FrameTrace> trace);
  ~ScreenSource() override;

  // Converts and delivers one picture on the calling thread; the same one again with an empty
  // update rectangle. Nothing is converted while nobody watches or the library's rate control
  // passes this picture over. Once converted, its pixels are given up: repeats are of the copy. A
  // picture that a newer one of its stream has overtaken is left out. Any thread; calls are taken
  // one at a time.
  void push(const PixelBufferRef& picture, int64_t timestampNs);

  // So long after a picture that is not sharp yet the same is worth another look: the encoder has
  // time for what is new.
  static constexpr webrtc::TimeDelta kRepeatAfter = webrtc::TimeDelta::Millis(100);
  // And so long after that one, if it has become sharper by it.
  static constexpr webrtc::TimeDelta kNextRepeatAfter = webrtc::TimeDelta::Millis(33);

  // Whether a repeat is due already; one is from now on.
  bool awaitsRepeat() { return awaitsRepeat_.exchange(true); }
  // Delivers the last picture once more, or says how much longer that has to wait, for a newer one
  // has just come. Any thread.
  std::optional<webrtc::TimeDelta> repeat();

  bool is_screencast() const override { return true; }
  absl::optional<bool> needs_denoising() const override { return false; }
  SourceState state() const override { return kLive; }
  bool remote() const override { return false; }
  bool GetStats(Stats* stats) override;

  // On the library's worker thread.
  void AddOrUpdateSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink,
                       const rtc::VideoSinkWants& wants) override;
  void RemoveSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink) override;

  // There is no encoded picture to be had from a screen.
  bool SupportsEncodedOutput() const override { return false; }
  void GenerateKeyFrame() override {}
  void AddEncodedSink(rtc::VideoSinkInterface<webrtc::RecordableEncodedFrame>*) override {}
  void RemoveEncodedSink(rtc::VideoSinkInterface<webrtc::RecordableEncodedFrame>*) override {}

 private:
  class Feed;

  void deliver(int64_t timestampNs);

  const rtc::scoped_refptr<Feed> feed_;
  std::set<const void*> sinks_;  // worker thread

  std::atomic<bool> awaitsRepeat_ = false;

  std::mutex mutex_;  // guards the three below and the feed's pictures
  PixelBufferRef last_;
  int64_t lastTimestampNs_ = 0;
  int64_t changedNs_ = 0;  // the time stamp of the last that was new
};

}  // namespace tovalin
