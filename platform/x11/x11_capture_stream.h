#pragma once

#include <memory>
#include <string>

#include "platform/screen_capture.h"
#include "platform/x11/x11_capture_notices.h"
#include "platform/x11/x11_capture_threads.h"

namespace tovalin {

// A capture stream with a thread of its own from `startCapture` to its end. The thread owns all
// that it needs: destroying the stream, on any thread, asks it to end and does not wait. An output
// that is gone ends the stream as well.
class X11CaptureStream : public CaptureStream {
 public:
  X11CaptureStream(std::string displayName, const CaptureConfiguration& configuration,
                   std::weak_ptr<CaptureStreamOutput> output,
                   std::shared_ptr<CaptureThreads> threads,
                   std::shared_ptr<CaptureNotices> notices);
  ~X11CaptureStream() override;

  // False when the process has no descriptor left for the stream.
  bool usable() const;

  // Can be started once only.
  void startCapture(Completion completion) override;
  void stopCapture(Completion completion) override;

 private:
  struct State;

  std::shared_ptr<State> state_;
};

}  // namespace tovalin
