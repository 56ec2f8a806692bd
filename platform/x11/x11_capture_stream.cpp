#include "platform/x11/x11_capture_stream.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/x11/x11_capture_session.h"

namespace tovalin {
namespace {

// The system shows 15 characters of a thread's name: of "com.tovalin.host.capture" the last word
// tells most.
std::string threadName(const std::string& queueLabel) {
  return "tovalin-" + queueLabel.substr(queueLabel.rfind('.') + 1);
}

}  // namespace

struct X11CaptureStream::State : std::enable_shared_from_this<State> {
  enum class Phase { created, running, ended };

  std::string displayName;
  CaptureConfiguration configuration;
  std::weak_ptr<CaptureStreamOutput> output;
  std::shared_ptr<CaptureThreads> threads;
  std::shared_ptr<CaptureNotices> notices;
  std::shared_ptr<CaptureWake> wake = std::make_shared<CaptureWake>();
  std::atomic<bool> stopping{false};

  std::mutex mutex;
  Phase phase = Phase::created;          // guarded by mutex
  std::vector<Completion> stopAwaiters;  // guarded by mutex

  void stopSoon() {
    stopping = true;
    wake->signal();
  }

  // The whole life of the thread.
  void run(const Completion& started) {
    std::optional<Error> ended = captureUntilEnd(started);
    if (ended && !stopping) {
      if (const auto receiver = output.lock()) receiver->didStopWithError(*ended);
    }
    std::vector<Completion> awaiters;
    {
      std::lock_guard lock(mutex);
      phase = Phase::ended;
      awaiters = std::exchange(stopAwaiters, {});
    }
    for (const Completion& completion : awaiters) completion(std::nullopt);
  }

  std::optional<Error> captureUntilEnd(const Completion& started) {
    auto opened = CaptureSession::open(displayName, configuration, wake, *notices);
    if (const auto* failed = std::get_if<Error>(&opened)) {
      started(*failed);
      return std::nullopt;
    }
    started(std::nullopt);
    return std::get<std::unique_ptr<CaptureSession>>(opened)->run(output, stopping);
  }

  // Calls a completion on a thread of ours, as every completion is; on this one only when no
  // thread can be had any more.
  void complete(const Completion& completion, const std::optional<Error>& result) {
    auto call = [completion, result] { completion(result); };
    if (!threads->run("tovalin-capture", call, [] {})) call();
  }
};

X11CaptureStream::X11CaptureStream(std::string displayName,
                                   const CaptureConfiguration& configuration,
                                   std::weak_ptr<CaptureStreamOutput> output,
                                   std::shared_ptr<CaptureThreads> threads,
                                   std::shared_ptr<CaptureNotices> notices)
    : state_(std::make_shared<State>()) {
  state_->displayName = std::move(displayName);
  state_->configuration = configuration;
  state_->output = std::move(output);
  state_->threads = std::move(threads);
  state_->notices = std::move(notices);
}

X11CaptureStream::~X11CaptureStream() {
  state_->stopSoon();
}

bool X11CaptureStream::usable() const {
  return state_->wake->valid();
}

void X11CaptureStream::startCapture(Completion completion) {
  // The completion may destroy this stream before this function has returned.
  const auto state = state_;
  {
    std::lock_guard lock(state->mutex);
    if (state->phase == State::Phase::created) {
      const bool begun = state->threads->run(
          threadName(state->configuration.queueLabel),
          [state, completion] { state->run(completion); },
          [weak = std::weak_ptr(state)] {
            if (const auto alive = weak.lock()) alive->stopSoon();
          });
      if (begun) {
        state->phase = State::Phase::running;
        return;
      }
    }
  }
  state->complete(completion, Error{"the stream cannot be started"});
}

void X11CaptureStream::stopCapture(Completion completion) {
  const auto state = state_;
  state->stopSoon();
  {
    std::lock_guard lock(state->mutex);
    if (state->phase == State::Phase::running) {
      state->stopAwaiters.push_back(std::move(completion));
      return;
    }
    // A stream that was stopped before it was started stays stopped.
    state->phase = State::Phase::ended;
  }
  state->complete(completion, std::nullopt);
}

}  // namespace tovalin
