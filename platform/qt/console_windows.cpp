#include "platform/qt/console_windows.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QByteArray>
#include <QChar>
#include <QList>
#include <QString>
#include <string>
#include <utility>

#include "platform/qt/console_input.h"

namespace tovalin {
namespace {

constexpr const char* kCommands =
    "p: connect a phone, or a new PIN   d: disconnect the viewer   r: reconnect\n"
    "c: close the pairing window   q: quit   h: this help";

// Control characters, line ends, and marks that turn the direction of writing.
bool isUnsafe(char32_t c) {
  const auto category = QChar::category(c);
  return category == QChar::Other_Control || category == QChar::Separator_Line ||
         category == QChar::Separator_Paragraph || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

// Text from outside as code points that are safe to print.
std::u32string safe(const std::string& text) {
  std::u32string points;
  for (const auto point : QString::fromStdString(text).toUcs4()) {
    points += isUnsafe(point) ? char32_t{0xFFFD} : char32_t{point};
  }
  return points;
}

std::string utf8(const std::u32string& points) {
  return QString::fromStdU32String(points).toStdString();
}

std::string printable(const std::string& text) {
  return utf8(safe(text));
}

std::string pairingText(const PairingContent& content) {
  if (!content.pin.empty()) {
    return "PIN " + printable(content.pinText) + "\n" + content.footnote +
           "\nPIN: " + printable(content.pin);
  }
  if (!content.waiting.empty()) return content.waiting;
  std::string text = printable(content.title);
  for (const auto& row : content.permissions) {
    if (!row.granted) text += "\nnot allowed yet: " + row.title + ", " + row.reason;
  }
  return text;
}

void press(const std::function<void()>& action) {
  // A copy: the press may destroy what holds the action.
  if (const auto pressed = action) pressed();
}

// What the windows share: the lines out and the letters in.
class Console {
 public:
  Console(int input, int output)
      : output_(output), input_(input, [this](const std::string& line) { obey(line); }) {}

  void say(const std::string& text) {
    const std::string line = text + "\n";
    pollfd writable{output_, POLLOUT, 0};
    if (poll(&writable, 1, 0) != 1 || (writable.revents & POLLOUT) == 0) return;
    // Whoever closed the other end does not want to know.
    [[maybe_unused]] const ssize_t count = write(output_, line.data(), line.size());
  }

  void showMenu(const MenuContent& content) {
    if (content.status != menu_.status) say("Status: " + printable(content.status));
    menu_ = content;
  }

  void showPairing() {
    const std::string text = pairingVisible ? pairingText(pairing) : "";
    if (text != shownPairing_ && !text.empty()) say(text);
    shownPairing_ = text;
  }

  MenuActions menuActions;
  PairingActions pairingActions;
  PairingContent pairing;
  bool pairingVisible = false;
  const IndicatorPanel* indicator = nullptr;  // the one on screen
  std::function<void()> disconnect;           // its button

 private:
  void obey(const std::string& line) {
    const QByteArray word = QByteArray::fromStdString(line).trimmed();
    if (word.isEmpty()) return;
    switch (word.size() == 1 ? word[0] : '\0') {
      case 'p':
        return press(pairingVisible ? pairingActions.newPin : menuActions.connectPhone);
      case 'd':
        if (indicator == nullptr && !menu_.viewerConnected) return say("No viewer is connected");
        return press(indicator != nullptr ? disconnect : menuActions.disconnectViewer);
      case 'r':
        return press(menuActions.reconnect);
      case 'c':
        return press(pairingVisible ? pairingActions.close : nullptr);
      case 'q':
        return press(menuActions.quit);
      default:
        return say(kCommands);
    }
  }

  const int output_;
  MenuContent menu_;
  std::string shownPairing_;
  ConsoleInput input_;
};

class ConsoleMenu : public Menu {
 public:
  explicit ConsoleMenu(std::shared_ptr<Console> console) : console_(std::move(console)) {}
  ~ConsoleMenu() override { console_->menuActions = {}; }
  void update(const MenuContent& content) override { console_->showMenu(content); }
  // The lines are always there.
  void openPanel() override {}
  bool hasTrayIcon() const override { return true; }

 private:
  const std::shared_ptr<Console> console_;
};

class ConsolePairingWindow : public PairingWindow {
 public:
  explicit ConsolePairingWindow(std::shared_ptr<Console> console) : console_(std::move(console)) {}
  ~ConsolePairingWindow() override {
    console_->pairingActions = {};
    ConsolePairingWindow::orderOut();
  }
  void update(const PairingContent& content) override {
    console_->pairing = content;
    console_->showPairing();
  }
  void orderFront() override {
    console_->pairingVisible = true;
    console_->showPairing();
  }
  void orderOut() override {
    console_->pairingVisible = false;
    console_->showPairing();
  }

 private:
  const std::shared_ptr<Console> console_;
};

class ConsoleIndicator : public IndicatorPanel {
 public:
  ConsoleIndicator(std::shared_ptr<Console> console, const IndicatorContent& content,
                   std::function<void()> disconnect)
      : console_(std::move(console)) {
    console_->indicator = this;
    console_->disconnect = std::move(disconnect);
    console_->say(content.text + " — type d and Return to disconnect");
  }
  // Another one may have come in its place already.
  ~ConsoleIndicator() override {
    if (console_->indicator != this) return;
    console_->indicator = nullptr;
    console_->disconnect = nullptr;
  }

 private:
  const std::shared_ptr<Console> console_;
};

class ConsoleWindows : public Windows {
 public:
  ConsoleWindows(int input, int output) : console_(std::make_shared<Console>(input, output)) {}

  std::unique_ptr<Menu> makeMenu(MenuActions actions) override {
    console_->menuActions = std::move(actions);
    return std::make_unique<ConsoleMenu>(console_);
  }
  std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) override {
    console_->pairingActions = std::move(actions);
    return std::make_unique<ConsolePairingWindow>(console_);
  }
  std::unique_ptr<IndicatorPanel> makeIndicator(const IndicatorContent& content,
                                                std::function<void()> disconnect) override {
    return std::make_unique<ConsoleIndicator>(console_, content, std::move(disconnect));
  }

 private:
  const std::shared_ptr<Console> console_;
};

}  // namespace

bool isConsoleAttended(int input) {
  if (isatty(input) == 1) return tcgetpgrp(input) == getpgrp();
  struct stat status;
  return fstat(input, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

std::unique_ptr<Windows> makeConsoleWindows(int input, int output) {
  return std::make_unique<ConsoleWindows>(input, output);
}

}  // namespace tovalin
