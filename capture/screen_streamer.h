#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/main_queue.h"
#include "platform/pixel_buffer.h"
#include "platform/screen_capture.h"
#include "platform/shared_slot.h"
#include "platform/system_log.h"

namespace tovalin {

// Receives what the streamer has to tell. Held weakly.
class ScreenStreamerSink {
 public:
  virtual ~ScreenStreamerSink() = default;

  // A fresh picture, on the capture thread, or a re-sent one, on the main thread.
  virtual void screenStreamerDidCapture(const PixelBufferRef& picture) = 0;
  // A short text for the signalling server's log. On a thread of the capture adapter's.
  virtual void screenStreamerDiagnostic(const std::string& text) = 0;
};

// Captures the main display and keeps the pictures coming: re-sends the last one while the screen
// is static, and restarts a capture that has died or fallen silent. One object serves every visit.
//
// Starting, stopping and restarting are chains of the capture port's completions, so they go on
// on the adapter's threads and outlive the call that began them. They hold the streamer strongly.
// A start in flight is not called off by stop(): its stream then delivers until the next stop().
class ScreenStreamer : public CaptureStreamOutput,
                       public std::enable_shared_from_this<ScreenStreamer> {
 public:
  struct Size {
    double width = 0;
    double height = 0;

    bool operator==(const Size&) const = default;
  };

  // All three must outlive the streamer.
  static std::shared_ptr<ScreenStreamer> create(MainQueue& queue, ScreenCapture& capture,
                                                SystemLog& log);

  void setSink(std::weak_ptr<ScreenStreamerSink> sink);

  // Neither blocks. A start() while running does nothing; a stop() while not running still ends a
  // stream that came up late. Main thread.
  void start();
  void stop();

  // Capture is wanted, whether or not pictures come. Any thread.
  bool isRunning() const;
  // The size last asked for, in the display's own pixels; 0 x 0 before the first. Any thread.
  Size captureSize() const;

  // From the capture port, on its sample thread.
  void didOutputSample(const CaptureSample& sample) override;
  void didStopWithError(const Error& error) override;

 private:
  using Ended = std::function<void()>;

  ScreenStreamer(MainQueue& queue, ScreenCapture& capture, SystemLog& log);

  // Builds and starts a stream; calls `ended` once, however that turns out.
  void startStream(Ended ended);
  void startStreamOf(const ShareableContent& content, const Ended& ended);
  void captureStarted(std::shared_ptr<CaptureStream> stream, const std::string& size);
  void captureFailed(const Error& error);
  void restart();

  void keepAlive();
  void watch();

  std::shared_ptr<ScreenStreamerSink> sink() const;
  void diagnose(const std::string& text) const;

  MainQueue& queue_;
  ScreenCapture& capture_;
  SystemLog& log_;

  std::unique_ptr<Timer> keepAliveTimer_;  // main thread, as is the next
  std::unique_ptr<Timer> watchdogTimer_;

  std::atomic<bool> isRunning_ = false;
  std::atomic<bool> restarting_ = false;
  SharedSlot<CaptureStream> stream_;  // filled only once capture has really started
  SharedSlot<const PixelBuffer> lastPixelBuffer_;
  // Wall-clock seconds of the last fresh picture, and of the last sample of any kind or (re)start.
  std::atomic<double> lastDeliveredAt_ = 0;
  std::atomic<double> lastAnyFrameAt_ = 0;

  mutable std::mutex mutex_;  // guards the two below; never held across a call
  std::weak_ptr<ScreenStreamerSink> sink_;
  Size captureSize_;
};

}  // namespace tovalin
