#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <variant>

#include "platform/screen_capture.h"
#include "platform/x11/x11_capture_damage.h"
#include "platform/x11/x11_capture_layout.h"
#include "platform/x11/x11_capture_notices.h"
#include "platform/x11/x11_capture_pointer.h"
#include "platform/x11/x11_capture_wake.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_frame_grabber.h"
#include "platform/x11/x11_frame_maker.h"
#include "platform/x11/x11_frame_pacing.h"
#include "platform/x11/x11_frame_pool.h"

namespace tovalin {

// One capture of one display on a connection of its own, from its start to its end. Lives on the
// capture thread; what comes from other threads is the stop and the return of buffers, both
// through the wake.
class CaptureSession {
 public:
  // Connects and prepares, or says why it cannot. Blocks for some answers.
  static std::variant<std::unique_ptr<CaptureSession>, Error> open(
      const std::string& displayName, const CaptureConfiguration& configuration,
      std::shared_ptr<CaptureWake> wake, CaptureNotices& notices);

  // Delivers samples until `stopping` is set (signal the wake then), until the output is gone, or
  // until capture cannot go on: the reason is returned.
  std::optional<Error> run(const std::weak_ptr<CaptureStreamOutput>& output,
                           const std::atomic<bool>& stopping);

 private:
  using Time = FramePacing::Time;

  CaptureSession(std::unique_ptr<X11Connection> connection, const PlacedDisplay& display,
                 bool isMain, const CaptureConfiguration& configuration,
                 std::shared_ptr<CaptureWake> wake, CaptureNotices& notices);

  void takeEvents();
  void handle(const xcb_generic_event_t& event, Time now);
  // Whether the display is still what it was; if not, why the stream ends.
  std::optional<Error> checkLayout();
  bool pictureOwed(Time now) const;
  std::optional<Error> takePicture(Time now);
  // What the stream ends with after a refused copy of the screen.
  Error whyRefused(const Error& refusal);
  void lookAtPointer(Time now);
  void deliver(FrameStatus status, PixelBufferRef image, Time now);

  std::unique_ptr<X11Connection> connection_;
  PlacedDisplay display_;
  bool isMain_;
  std::shared_ptr<CaptureWake> wake_;
  LayoutWatch layout_;
  DamageWatch damage_;
  PointerWatch pointer_;
  FrameGrabber grabber_;
  FramePool pool_;
  FrameMaker maker_;
  FramePacing pacing_;
  FramePacing::Clock::duration lookInterval_;
  Time lookDue_;
  std::optional<Time> changeNoticed_;  // the first since the newest picture
  BandSet pending_;                    // rows reported as drawn on since the newest picture
  // At first too: the layout may have changed before its events were asked for.
  bool layoutChanged_ = true;
  std::weak_ptr<CaptureStreamOutput> output_;
  bool outputGone_ = false;
};

}  // namespace tovalin
