#include "tests/integration/qtquick/desktop_fixture.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QFontInfo>
#include <chrono>

namespace tovalin::test {
namespace {

constexpr int kPatienceMs = 30'000;

void gather(QQuickItem& item, std::vector<QQuickItem*>& items) {
  if (!item.isVisible()) return;
  items.push_back(&item);
  for (QQuickItem* child : item.childItems()) gather(*child, items);
}

}  // namespace

// The window manager, from construction to destruction. Returns from construction when it manages:
// it announces itself on the root window long before that.
class DesktopFixture::WindowManager {
 public:
  WindowManager() {
    int channel[2] = {-1, -1};
    EXPECT_EQ(pipe2(channel, O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(channel[1], STDOUT_FILENO);
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      execlp("openbox", "openbox", "--startup", "echo READY", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(channel[1]);
    pollfd ready{channel[0], POLLIN, 0};
    char word[8] = {};
    EXPECT_TRUE(poll(&ready, 1, kPatienceMs) == 1 && read(channel[0], word, sizeof word) > 0)
        << "is the package openbox installed?";
    close(channel[0]);
  }
  ~WindowManager() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  WindowManager(const WindowManager&) = delete;
  WindowManager& operator=(const WindowManager&) = delete;

 private:
  pid_t pid_ = -1;
};

DesktopFixture::DesktopFixture(double scale) {
  setenv("DISPLAY", server_.display().c_str(), 1);
  setenv("QT_SCALE_FACTOR", std::to_string(scale).c_str(), 1);
  // No bus, so that the person's own desktop does not answer.
  setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
  windowManager_ = std::make_unique<WindowManager>();
  application_ = std::make_unique<QtApplication>(argumentCount_, arguments_.data(),
                                                 QtApplication::Face::windows);
  usualFont_ = QGuiApplication::font();
  windows_ = makeDesktopWindows(trays_, appearance_, log_);
}

DesktopFixture::~DesktopFixture() {
  windows_.reset();
  application_.reset();
}

bool DesktopFixture::becomesTrue(const std::function<bool()>& condition) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 5);
  }
  return true;
}

Screenshot DesktopFixture::settledScreen() const {
  constexpr int kQuietLooks = 40;
  Screenshot last = client_.screenshot();
  int quiet = 0;
  EXPECT_TRUE(becomesTrue([&] {
    Screenshot now = client_.screenshot();
    quiet = now.pixels == last.pixels ? quiet + 1 : 0;
    last = std::move(now);
    return quiet >= kQuietLooks;
  })) << "the screen does not come to rest";
  return last;
}

QQuickWindow* DesktopFixture::windowTitled(const std::string& title) {
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    if (window->isVisible() && window->title().toStdString() == title) {
      return qobject_cast<QQuickWindow*>(window);
    }
  }
  return nullptr;
}

std::vector<QQuickItem*> DesktopFixture::visibleItems(QQuickWindow& window) {
  std::vector<QQuickItem*> items;
  gather(*window.contentItem(), items);
  return items;
}

QQuickItem* DesktopFixture::control(QQuickWindow& window, const std::string& text) {
  for (QQuickItem* item : visibleItems(window)) {
    const bool isControl = item->inherits("QQuickAbstractButton");
    if (isControl && item->property("text").toString().toStdString() == text) return item;
  }
  return nullptr;
}

void DesktopFixture::clickOn(const QQuickItem& item) const {
  const QPointF middle = item.mapToGlobal(QPointF(item.width() / 2, item.height() / 2));
  const double scale = item.window()->effectiveDevicePixelRatio();
  client_.click(static_cast<int>(middle.x() * scale), static_cast<int>(middle.y() * scale));
}

std::vector<std::string> DesktopFixture::clippedTexts(QQuickWindow& window) {
  std::vector<std::string> clipped;
  const QRectF whole(0, 0, window.width(), window.height());
  for (QQuickItem* item : visibleItems(window)) {
    if (!item->inherits("QQuickText")) continue;
    const QString text = item->property("text").toString();
    if (text.isEmpty() || !item->isVisible()) continue;
    const qreal width = item->property("contentWidth").toReal();
    const qreal height = item->property("contentHeight").toReal();
    const QRectF place = item->mapRectToScene(QRectF(0, 0, width, height));
    const bool cut = item->property("truncated").toBool() || width > item->width() + 0.5 ||
                     height > item->height() + 0.5 || !whole.contains(place);
    if (cut) clipped.push_back(text.toStdString());
  }
  return clipped;
}

void DesktopFixture::setFontScale(double factor) const {
  QFont font = usualFont_;
  font.setPixelSize(qRound(QFontInfo(usualFont_).pixelSize() * factor));
  QGuiApplication::setFont(font);
}

}  // namespace tovalin::test
