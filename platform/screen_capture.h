#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/error.h"
#include "platform/pixel_buffer.h"

namespace tovalin {

using DisplayId = uint32_t;

struct CaptureDisplay {
  DisplayId id = 0;
  int width = 0;   // pixels, unscaled
  int height = 0;  // pixels, unscaled
};

struct ShareableContent {
  std::vector<CaptureDisplay> displays;
};

struct CaptureConfiguration {
  DisplayId display = 0;
  int width = 0;
  int height = 0;
  double minimumFrameInterval = 0;  // seconds between two complete samples
  uint32_t pixelFormat = 0;         // four-character code; kPixelFormatBgra is the only one offered
  int queueDepth = 0;               // pictures that may be in the consumer's hands at once
  bool showsCursor = false;
  std::string queueLabel;  // names the thread on which samples are delivered
};

// The four-character code 'BGRA'.
inline constexpr uint32_t kPixelFormatBgra = 0x42475241;

enum class SampleType { screen, audio };

// Numbers as the capture framework's frame-info status uses them.
enum class FrameStatus : int {
  complete = 0,
  idle = 1,
  blank = 2,
  suspended = 3,
  started = 4,
  stopped = 5,
};

struct CaptureSample {
  SampleType type = SampleType::screen;
  bool valid = true;
  std::optional<int> status;  // a FrameStatus; absent when the sample carries none
  PixelBufferRef image;       // empty unless there is a picture
};

// What a stream reports. Called on the stream's own sample thread, one call at a time.
class CaptureStreamOutput {
 public:
  virtual ~CaptureStreamOutput() = default;

  virtual void didOutputSample(const CaptureSample& sample) = 0;
  // The stream has ended by itself (display gone, resized, connection lost). Nothing follows.
  virtual void didStopWithError(const Error& error) = 0;
};

// One running capture of one display. Destroying it stops it. The last reference may go on any
// thread, also on the adapter's own, inside one of its completions or reports.
class CaptureStream {
 public:
  // Absent: success.
  using Completion = std::function<void(std::optional<Error>)>;

  virtual ~CaptureStream() = default;

  // Both are asynchronous; `completion` is called exactly once, on a thread of the adapter's.
  // After a completed stop no sample is delivered. Any thread.
  virtual void startCapture(Completion completion) = 0;
  virtual void stopCapture(Completion completion) = 0;
};

// The system's screen capture. Lives as long as the process. Any thread.
class ScreenCapture {
 public:
  using ContentCompletion = std::function<void(std::variant<ShareableContent, Error>)>;

  virtual ~ScreenCapture() = default;

  // Lists the displays, the desktop itself included, on-screen windows only. `completion` is called
  // exactly once, on a thread of the adapter's. No reachable display server means no displays.
  virtual void shareableContent(ContentCompletion completion) = 0;

  // The display that carries the desktop's main panel, as last known; 0 when there is none.
  virtual DisplayId mainDisplay() const = 0;

  // Makes a stream that is not yet started and reports to `output`, held weakly; or says why the
  // output cannot be registered (a pixel format not offered, an unknown display).
  virtual std::variant<std::shared_ptr<CaptureStream>, Error> makeStream(
      const CaptureConfiguration& configuration, std::weak_ptr<CaptureStreamOutput> output) = 0;
};

}  // namespace tovalin
