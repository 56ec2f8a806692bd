#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/media_stream_interface.h>
#include <api/scoped_refptr.h>

#include <memory>
#include <utility>

#include "platform/rtc.h"
#include "platform/webrtc/encoder_reserve.h"
#include "platform/webrtc/frame_trace.h"
#include "platform/webrtc/repeat_requests.h"
#include "platform/webrtc/rtc_engine.h"
#include "platform/webrtc/screen_source.h"

namespace tovalin {

class WebRtcVideoSource final : public RtcVideoSource, public RepeatRequests::Receiver {
 public:
  WebRtcVideoSource(std::shared_ptr<RtcEngine> engine, std::shared_ptr<FrameTrace> trace,
                    std::shared_ptr<EncoderReserve> reserve)
      : engine_(std::move(engine)),
        reserve_(std::move(reserve)),
        native_(rtc::make_ref_counted<ScreenSource>(std::move(trace))) {
    reserve_->prepare();
  }
  // A visit that came to nothing has left its encoder in reserve.
  ~WebRtcVideoSource() override {
    engine_->postWorker([reserve = reserve_] { reserve->drop(); });
  }

  void push(const PixelBufferRef& pixelBuffer, int64_t timestampNs) override {
    if (pixelBuffer) native_->push(pixelBuffer, timestampNs);
  }

  void repeatSoon(RepeatRequests::When when) override {
    if (native_->awaitsRepeat()) return;
    repeatAfter(when == RepeatRequests::When::next ? ScreenSource::kNextRepeatAfter
                                                   : ScreenSource::kRepeatAfter,
                engine_, native_);
  }

  ScreenSource& native() { return *native_; }

 private:
  static void repeatAfter(webrtc::TimeDelta delay, const std::weak_ptr<RtcEngine>& engine,
                          const rtc::scoped_refptr<ScreenSource>& native) {
    const auto alive = engine.lock();
    if (!alive) return;
    const auto repeat = [engine, native] {
      if (const auto left = native->repeat()) repeatAfter(*left, engine, native);
    };
    alive->postWorker(repeat, delay);
  }

  const std::shared_ptr<RtcEngine> engine_;
  const std::shared_ptr<EncoderReserve> reserve_;
  const rtc::scoped_refptr<ScreenSource> native_;
};

class WebRtcVideoTrack final : public RtcVideoTrack {
 public:
  WebRtcVideoTrack(std::shared_ptr<RtcEngine> engine,
                   rtc::scoped_refptr<webrtc::VideoTrackInterface> native)
      : engine_(std::move(engine)), native_(std::move(native)) {}

  const rtc::scoped_refptr<webrtc::VideoTrackInterface>& native() const { return native_; }

 private:
  const std::shared_ptr<RtcEngine> engine_;
  const rtc::scoped_refptr<webrtc::VideoTrackInterface> native_;
};

}  // namespace tovalin
