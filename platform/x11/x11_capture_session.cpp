#include "platform/x11/x11_capture_session.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tovalin {
namespace {

FramePacing::Clock::duration frameInterval(const CaptureConfiguration& configuration) {
  return std::chrono::duration_cast<FramePacing::Clock::duration>(
      std::chrono::duration<double>(configuration.minimumFrameInterval));
}

std::string sizeText(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

int64_t nanoseconds(FramePacing::Time time) {
  return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

Error connectionLost() {
  return Error{"the connection to the X server was lost"};
}

}  // namespace

std::variant<std::unique_ptr<CaptureSession>, Error> CaptureSession::open(
    const std::string& displayName, const CaptureConfiguration& configuration,
    std::shared_ptr<CaptureWake> wake, CaptureNotices& notices) {
  auto connection = std::make_unique<X11Connection>(displayName);
  if (!connection->alive()) return Error{"the X server cannot be reached"};
  if (auto unsupported = whyUnsupported(pixelLayoutOf(*connection))) return *unsupported;
  const DisplayLayout layout = readDisplayLayout(*connection);
  const PlacedDisplay* display = layout.find(configuration.display);
  if (display == nullptr) return Error{"the display is gone"};
  if (display->width != configuration.width || display->height != configuration.height) {
    return Error{"the display is " + sizeText(display->width, display->height) + " now, not " +
                 sizeText(configuration.width, configuration.height)};
  }
  std::unique_ptr<CaptureSession> session(
      new CaptureSession(std::move(connection), *display, display->id == layout.main, configuration,
                         std::move(wake), notices));
  if (!session->pool_.prepare()) {
    return Error{"no memory for a picture of " + sizeText(display->width, display->height)};
  }
  if (!session->connection_->alive()) return connectionLost();
  return session;
}

CaptureSession::CaptureSession(std::unique_ptr<X11Connection> connection,
                               const PlacedDisplay& display, bool isMain,
                               const CaptureConfiguration& configuration,
                               std::shared_ptr<CaptureWake> wake, CaptureNotices& notices)
    : connection_(std::move(connection)),
      display_(display),
      isMain_(isMain),
      wake_(std::move(wake)),
      layout_(*connection_),
      damage_(*connection_, display),
      pointer_(*connection_, display, configuration.showsCursor, notices),
      grabber_(*connection_, display, pixelLayoutOf(*connection_), notices),
      pool_(display.width, display.height, configuration.queueDepth, wake_,
            [this] { return grabber_.allocate(display_.height); }),
      maker_(grabber_, pointer_, pool_, display.width, display.height),
      pacing_(frameInterval(configuration), FramePacing::Clock::now()),
      lookInterval_(pointer_.reportsMotion() ? FramePacing::kIdleInterval
                                             : frameInterval(configuration)),
      lookDue_(pointer_.shows() ? Time::min() : Time::max()),
      pending_({0, display.height}) {
  if (!damage_.works()) {
    notices.once("[Tovalin] the x server reports no damage, the screen is compared instead");
  }
}

std::optional<Error> CaptureSession::run(const std::weak_ptr<CaptureStreamOutput>& output,
                                         const std::atomic<bool>& stopping) {
  output_ = output;
  deliver(FrameStatus::started, nullptr, FramePacing::Clock::now());
  while (!stopping && !outputGone_) {
    // Answers that were waited for may have brought events along, which no longer show on the
    // socket: whatever asks the server goes round once more before waiting.
    takeEvents();
    if (!connection_->alive()) return connectionLost();
    const Time now = FramePacing::Clock::now();
    if (now >= pacing_.idleDue()) deliver(FrameStatus::idle, nullptr, now);
    if (layoutChanged_) {
      if (auto ended = checkLayout()) return ended;
    } else if (pictureOwed(now) && now >= pacing_.frameDue()) {
      if (auto failed = takePicture(now)) return failed;
    } else if (pictureOwed(now)) {
      // Nothing that the server may say makes the picture come earlier, so that a burst of
      // drawing wakes this thread once.
      wake_->wait(std::min(pacing_.frameDue(), pacing_.idleDue()), nullptr);
    } else if (now >= lookDue_) {
      lookAtPointer(now);
    } else {
      wake_->wait(std::min({pacing_.idleDue(), pacing_.checkDue(), pacing_.pointerDue(), lookDue_}),
                  connection_->get());
    }
  }
  return std::nullopt;
}

void CaptureSession::takeEvents() {
  const Time now = FramePacing::Clock::now();
  while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())}) {
    handle(*event, now);
  }
  if (pointer_.suspected()) pacing_.pointerSuspected(now);
  if (!changeNoticed_ && (!pending_.empty() || pointer_.suspected())) changeNoticed_ = now;
}

void CaptureSession::handle(const xcb_generic_event_t& event, Time now) {
  if (const auto rows = damage_.rowsDrawn(event)) {
    pending_.add(maker_.absorb(*rows, event.full_sequence));
    pacing_.damageReported(now);
  } else if (layout_.concerns(event)) {
    layoutChanged_ = true;
  } else {
    pointer_.handle(event);
  }
}

std::optional<Error> CaptureSession::checkLayout() {
  layoutChanged_ = false;
  const DisplayLayout layout = readDisplayLayout(*connection_);
  if (!connection_->alive()) return connectionLost();
  const std::string why = whyLayoutEndsStream(display_, isMain_, layout);
  if (!why.empty()) return Error{why};
  // What a change of the other displays has done to the pixels need not have been reported.
  pending_.add({0, display_.height});
  return std::nullopt;
}

bool CaptureSession::pictureOwed(Time now) const {
  return !pending_.empty() || now >= pacing_.pointerDue() || !damage_.works() ||
         now >= pacing_.checkDue();
}

std::optional<Error> CaptureSession::takePicture(Time now) {
  const bool compareAll = !damage_.works() || now >= pacing_.checkDue();
  const bool onlyForPointer = !compareAll && pending_.empty();
  if (compareAll) {
    const auto different = maker_.differences(pending_);
    if (const auto* refusal = std::get_if<Error>(&different)) return whyRefused(*refusal);
    pending_.add(std::get<BandSet>(different));
    pacing_.checkedEverything();
  }
  const auto fetched = maker_.fetch(pending_, compareAll);
  if (const auto* refusal = std::get_if<Error>(&fetched)) return whyRefused(*refusal);
  if (std::get<FrameMaker::Fetched>(fetched) == FrameMaker::Fetched::noBufferFree) {
    // Its return signals the wake. The events that come meanwhile wait for the next idle sample.
    wake_->wait(pacing_.idleDue(), nullptr);
    return std::nullopt;
  }
  pacing_.takingPicture(now);
  if (pointer_.shows()) lookDue_ = now + lookInterval_;
  const PictureTimes times{nanoseconds(changeNoticed_.value_or(now)), nanoseconds(now)};
  changeNoticed_.reset();
  if (std::get<FrameMaker::Fetched>(fetched) == FrameMaker::Fetched::nothingNew) {
    if (onlyForPointer) pacing_.tookNone();
    return std::nullopt;
  }
  pending_.clear();
  takeEvents();
  deliver(FrameStatus::complete, maker_.finish(times), now);
  return std::nullopt;
}

Error CaptureSession::whyRefused(const Error& refusal) {
  // A display that shrinks refuses the copy before its event has been looked at.
  takeEvents();
  if (!connection_->alive()) return connectionLost();
  const auto ended = layoutChanged_ ? checkLayout() : std::nullopt;
  return ended.value_or(refusal);
}

void CaptureSession::lookAtPointer(Time now) {
  pointer_.lookAgain();
  if (pointer_.suspected()) pacing_.pointerSuspected(now);
  lookDue_ = now + lookInterval_;
}

void CaptureSession::deliver(FrameStatus status, PixelBufferRef image, Time now) {
  pacing_.deliveredSample(now);
  const auto output = output_.lock();
  outputGone_ = output == nullptr;
  if (outputGone_) return;
  CaptureSample sample;
  sample.status = static_cast<int>(status);
  sample.image = std::move(image);
  output->didOutputSample(sample);
}

}  // namespace tovalin
