#include "platform/x11/x11_screen_capture.h"

#include <cmath>
#include <mutex>
#include <utility>

#include "platform/x11/x11_capture_layout.h"
#include "platform/x11/x11_capture_notices.h"
#include "platform/x11/x11_capture_stream.h"
#include "platform/x11/x11_capture_threads.h"
#include "platform/x11/x11_connection.h"

namespace tovalin {
namespace {

// The displays as last listed, shared with the threads that list them.
class KnownLayout {
 public:
  void store(DisplayLayout layout) {
    std::lock_guard lock(mutex_);
    layout_ = std::move(layout);
  }
  DisplayLayout load() const {
    std::lock_guard lock(mutex_);
    return layout_;
  }

 private:
  mutable std::mutex mutex_;
  DisplayLayout layout_;
};

class X11ScreenCapture : public ScreenCapture {
 public:
  X11ScreenCapture(SystemLog& log, std::string displayName)
      : displayName_(std::move(displayName)), notices_(std::make_shared<CaptureNotices>(log)) {}

  ~X11ScreenCapture() override { threads_->endAll(); }

  void shareableContent(ContentCompletion completion) override {
    auto list = [name = displayName_, known = known_, completion] {
      DisplayLayout layout = readDisplayLayout(X11Connection(name));
      ShareableContent content;
      for (const PlacedDisplay& display : layout.displays) {
        content.displays.push_back({display.id, display.width, display.height});
      }
      known->store(std::move(layout));
      completion(std::move(content));
    };
    if (!threads_->run("tovalin-screens", std::move(list), [] {})) {
      completion(Error{"no thread can be had to list the displays"});
    }
  }

  DisplayId mainDisplay() const override { return known_->load().main; }

  std::variant<std::shared_ptr<CaptureStream>, Error> makeStream(
      const CaptureConfiguration& configuration,
      std::weak_ptr<CaptureStreamOutput> output) override {
    if (configuration.pixelFormat != kPixelFormatBgra) {
      return Error{"only BGRA pictures are offered"};
    }
    if (known_->load().find(configuration.display) == nullptr) {
      return Error{"display " + std::to_string(configuration.display) + " is unknown"};
    }
    const double interval = configuration.minimumFrameInterval;
    if (configuration.queueDepth < 1 || !(interval >= 0 && interval <= kLongestInterval)) {
      return Error{"the queue depth or frame interval makes no sense"};
    }
    auto stream = std::make_shared<X11CaptureStream>(displayName_, configuration, std::move(output),
                                                     threads_, notices_);
    if (!stream->usable()) return Error{"no file descriptor is left for a stream"};
    return stream;
  }

 private:
  static constexpr double kLongestInterval = 3600;  // seconds

  std::string displayName_;
  std::shared_ptr<CaptureNotices> notices_;
  std::shared_ptr<CaptureThreads> threads_ = std::make_shared<CaptureThreads>();
  std::shared_ptr<KnownLayout> known_ = std::make_shared<KnownLayout>();
};

}  // namespace

std::unique_ptr<ScreenCapture> makeX11ScreenCapture(SystemLog& log, std::string displayName) {
  return std::make_unique<X11ScreenCapture>(log, std::move(displayName));
}

}  // namespace tovalin
