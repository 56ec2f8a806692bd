#include "platform/qt/qt_application.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "platform/fatal.h"

namespace tovalin {
namespace {

// What the signal handler writes to: it may do nothing else that is safe there.
std::atomic<int> signalEvent = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void noteSignal(int) {
  const int error = errno;
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t count = write(signalEvent, &one, sizeof one);
  errno = error;
}

}  // namespace

struct QtApplication::Loop {
  Loop(int& argumentCount, char** arguments, Face face) {
    if (face == Face::none) {
      application = std::make_unique<QCoreApplication>(argumentCount, arguments);
      return;
    }
    // The windows are X11's on every desktop: only there do they stay where they are put, and on
    // top.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    // Only Qt's own options are left out here: this program has none.
    application = std::make_unique<QGuiApplication>(argumentCount, arguments);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.tovalin.host"));
  }
  std::unique_ptr<QCoreApplication> application;
};

// Turns signals into an event of the loop.
class QtApplication::Signals {
 public:
  explicit Signals(QtApplication& application)
      : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), notifier_(event_, QSocketNotifier::Read) {
    if (event_ < 0) fatal("no event for signals");
    signalEvent = event_;
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this, &application] {
      notifier_.setEnabled(false);
      application.quit();
    });
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) handle(number);
    (void)signal(SIGPIPE, SIG_IGN);
  }

  ~Signals() {
    for (const auto& before : before_) sigaction(before.number, &before.action, nullptr);
    signalEvent = -1;
    notifier_.setEnabled(false);
    close(event_);
  }

 private:
  struct Before {
    int number;
    struct sigaction action;
  };

  void handle(int number) {
    Before before{number, {}};
    sigaction(number, nullptr, &before.action);
    if (before.action.sa_handler == SIG_IGN) return;
    struct sigaction action {};
    action.sa_handler = &noteSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
    before_.push_back(before);
  }

  const int event_;
  QSocketNotifier notifier_;
  std::vector<Before> before_;
};

QtApplication::QtApplication(int& argumentCount, char** arguments, Face face)
    : loop_(std::make_unique<Loop>(argumentCount, arguments, face)),
      signals_(std::make_unique<Signals>(*this)) {}

QtApplication::~QtApplication() = default;

int QtApplication::run() {
  return QCoreApplication::exec();
}

void QtApplication::quit() {
  QMetaObject::invokeMethod(
      loop_->application.get(), [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

}  // namespace tovalin
