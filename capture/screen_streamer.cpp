#include "capture/screen_streamer.h"

#include <algorithm>
#include <utility>

#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr char kQueueLabel[] = "com.tovalin.host.capture";
constexpr double kMinimumFrameInterval = 1.0 / 30;
// Pictures that may be in the encoder's and the keep-alive's hands before capture drops frames.
constexpr int kQueueDepth = 5;

constexpr double kKeepAliveInterval = 0.5;
// A little over one tick, so that a picture from just before a tick is not doubled by it.
constexpr double kStaticAfter = 0.6;
constexpr double kWatchdogInterval = 2.0;
constexpr double kSilentAfter = 6.0;

const CaptureDisplay* chooseDisplay(const std::vector<CaptureDisplay>& displays, DisplayId main) {
  const auto found = std::find_if(displays.begin(), displays.end(),
                                  [&](const auto& display) { return display.id == main; });
  if (found != displays.end()) return &*found;
  return displays.empty() ? nullptr : &displays.front();
}

CaptureConfiguration configurationFor(const CaptureDisplay& display) {
  CaptureConfiguration configuration;
  configuration.display = display.id;
  configuration.width = display.width;
  configuration.height = display.height;
  configuration.minimumFrameInterval = kMinimumFrameInterval;
  configuration.pixelFormat = kPixelFormatBgra;
  configuration.queueDepth = kQueueDepth;
  configuration.showsCursor = true;
  configuration.queueLabel = kQueueLabel;
  return configuration;
}

}  // namespace

std::shared_ptr<ScreenStreamer> ScreenStreamer::create(MainQueue& queue, ScreenCapture& capture,
                                                       SystemLog& log) {
  return std::shared_ptr<ScreenStreamer>(new ScreenStreamer(queue, capture, log));
}

ScreenStreamer::ScreenStreamer(MainQueue& queue, ScreenCapture& capture, SystemLog& log)
    : queue_(queue), capture_(capture), log_(log) {}

void ScreenStreamer::setSink(std::weak_ptr<ScreenStreamerSink> sink) {
  std::lock_guard lock(mutex_);
  sink_ = std::move(sink);
}

bool ScreenStreamer::isRunning() const {
  return isRunning_;
}

ScreenStreamer::Size ScreenStreamer::captureSize() const {
  std::lock_guard lock(mutex_);
  return captureSize_;
}

void ScreenStreamer::start() {
  if (isRunning_.exchange(true)) return;
  lastAnyFrameAt_ = queue_.wallClock();
  startStream([] {});
  keepAliveTimer_ =
      queue_.every(kKeepAliveInterval,
                   weakly(shared_from_this(), [](ScreenStreamer& self) { self.keepAlive(); }));
  watchdogTimer_ = queue_.every(
      kWatchdogInterval, weakly(shared_from_this(), [](ScreenStreamer& self) { self.watch(); }));
}

void ScreenStreamer::stop() {
  isRunning_ = false;
  keepAliveTimer_.reset();
  watchdogTimer_.reset();
  auto stream = stream_.exchange(nullptr);
  lastPixelBuffer_.store(nullptr);
  // The completion carries the stream: dropping it here could wait for its sample thread.
  if (stream) stream->stopCapture([stream](const std::optional<Error>&) {});
}

void ScreenStreamer::startStream(Ended ended) {
  capture_.shareableContent([self = shared_from_this(), ended = std::move(ended)](auto result) {
    if (const auto* error = std::get_if<Error>(&result)) {
      self->captureFailed(*error);
      ended();
    } else {
      self->startStreamOf(std::get<ShareableContent>(result), ended);
    }
  });
}

void ScreenStreamer::startStreamOf(const ShareableContent& content, const Ended& ended) {
  const auto* display = chooseDisplay(content.displays, capture_.mainDisplay());
  if (!display) {
    log_.line("[Tovalin] no display found");
    return ended();
  }
  {
    std::lock_guard lock(mutex_);
    captureSize_ = {static_cast<double>(display->width), static_cast<double>(display->height)};
  }
  auto made = capture_.makeStream(configurationFor(*display), weak_from_this());
  if (const auto* error = std::get_if<Error>(&made)) {
    captureFailed(*error);
    return ended();
  }
  auto stream = std::get<std::shared_ptr<CaptureStream>>(std::move(made));
  auto size = std::to_string(display->width) + "x" + std::to_string(display->height);
  // The completion alone keeps the stream alive while it starts.
  auto& starting = *stream;
  starting.startCapture([self = shared_from_this(), stream = std::move(stream),
                         size = std::move(size), ended](const std::optional<Error>& error) {
    if (error) {
      self->captureFailed(*error);
    } else {
      self->captureStarted(stream, size);
    }
    ended();
  });
}

void ScreenStreamer::captureStarted(std::shared_ptr<CaptureStream> stream,
                                    const std::string& size) {
  stream_.store(std::move(stream));
  log_.line("[Tovalin] capture started " + size);
  diagnose("capture-started " + size);
}

void ScreenStreamer::captureFailed(const Error& error) {
  log_.line("[Tovalin] capture start failed: " + error.description);
  diagnose("capture-FAILED " + error.description);
}

void ScreenStreamer::restart() {
  if (!isRunning_ || restarting_.exchange(true)) return;
  auto startAgain = [self = shared_from_this()] {
    self->startStream([self] {
      self->lastAnyFrameAt_ = self->queue_.wallClock();
      self->restarting_ = false;
    });
  };
  auto stream = stream_.exchange(nullptr);
  if (!stream) return startAgain();
  auto& stopping = *stream;
  stopping.stopCapture(
      [stream = std::move(stream), startAgain](const std::optional<Error>&) { startAgain(); });
}

void ScreenStreamer::didOutputSample(const CaptureSample& sample) {
  if (sample.type != SampleType::screen) return;
  lastAnyFrameAt_ = queue_.wallClock();
  if (!sample.valid || sample.status != static_cast<int>(FrameStatus::complete)) return;
  if (!sample.image) return;
  lastPixelBuffer_.store(sample.image);
  lastDeliveredAt_ = queue_.wallClock();
  if (const auto receiver = sink()) receiver->screenStreamerDidCapture(sample.image);
}

void ScreenStreamer::didStopWithError(const Error& error) {
  log_.line("[Tovalin] stream died: " + error.description + " — restarting");
  restart();
}

void ScreenStreamer::keepAlive() {
  if (!isRunning_ || !(queue_.wallClock() - lastDeliveredAt_ > kStaticAfter)) return;
  // A re-send does not count as a delivery, so a static screen repeats at every tick.
  const auto picture = lastPixelBuffer_.load();
  const auto receiver = sink();
  if (picture && receiver) receiver->screenStreamerDidCapture(picture);
}

void ScreenStreamer::watch() {
  if (!isRunning_ || !(queue_.wallClock() - lastAnyFrameAt_ > kSilentAfter)) return;
  log_.line("[Tovalin] watchdog: no frames for 6s — restarting capture");
  restart();
}

std::shared_ptr<ScreenStreamerSink> ScreenStreamer::sink() const {
  std::lock_guard lock(mutex_);
  return sink_.lock();
}

void ScreenStreamer::diagnose(const std::string& text) const {
  if (const auto receiver = sink()) receiver->screenStreamerDiagnostic(text);
}

}  // namespace tovalin
