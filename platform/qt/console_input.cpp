#include "platform/qt/console_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

namespace tovalin {
namespace {

using namespace std::chrono_literals;

constexpr size_t kLineLimitBytes = 4096;

// How soon a program that was brought to the foreground listens again.
constexpr auto kForegroundPoll = 1s;

// Reading there would stop the whole program (SIGTTIN).
bool isBackgroundOf(int fd) {
  return isatty(fd) == 1 && tcgetpgrp(fd) != getpgrp();
}

}  // namespace

ConsoleInput::ConsoleInput(int fd, std::function<void(const std::string& line)> onLine)
    : fd_(fd), onLine_(std::move(onLine)) {
  if (fcntl(fd_, F_GETFD) < 0) return;
  notifier_ = std::make_unique<QSocketNotifier>(fd_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { readable(); });
}

ConsoleInput::~ConsoleInput() = default;

void ConsoleInput::readable() {
  if (isBackgroundOf(fd_)) {
    notifier_->setEnabled(false);
    QTimer::singleShot(kForegroundPoll, notifier_.get(), [this] { notifier_->setEnabled(true); });
    return;
  }
  char bytes[1024];
  const ssize_t count = read(fd_, bytes, sizeof bytes);
  if (count > 0) {
    take(bytes, static_cast<size_t>(count));
  } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
    notifier_->setEnabled(false);
    if (!line_.empty()) finishLine();
  }
}

void ConsoleInput::take(const char* bytes, size_t count) {
  for (const char c : std::string_view(bytes, count)) {
    if (c == '\n') {
      finishLine();
    } else if (line_.size() <= kLineLimitBytes) {
      line_ += c;
    }
  }
}

void ConsoleInput::finishLine() {
  const std::string line = std::exchange(line_, {});
  if (line.size() <= kLineLimitBytes) onLine_(line);
}

}  // namespace tovalin
