#include "platform/qt/console_windows.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/integration/qt/application_test.h"

namespace tovalin::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const IndicatorContent kIndicator{"Someone is controlling this Mac", "Disconnect"};
const PairingContent kWaiting{.step = PairingStep::connect, .waiting = "Getting your PIN…"};

PairingContent withPin(const std::string& pin, const std::string& text) {
  return {.step = PairingStep::connect,
          .pin = pin,
          .pinText = text,
          .footnote = "This PIN works once and expires in 10 minutes."};
}

MenuContent withStatus(const std::string& status, bool viewerConnected = false) {
  return {.status = status, .viewerConnected = viewerConnected};
}

class ConsoleWindowsTest : public ApplicationTest {
 protected:
  ConsoleWindowsTest() {
    EXPECT_EQ(pipe2(input_, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output_, O_CLOEXEC | O_NONBLOCK), 0);
    open(input_[0]);
  }
  ~ConsoleWindowsTest() override {
    windows_.reset();
    endInput();
    close(input_[0]);
    close(output_[0]);
    close(output_[1]);
  }

  void open(int input) {
    windows_ = makeConsoleWindows(input, output_[1]);
    menu_ = windows_->makeMenu({.disconnectViewer = press("disconnectViewer"),
                                .connectPhone = press("connectPhone"),
                                .reconnect = press("reconnect"),
                                .quit = press("quit")});
    pairing_ = windows_->makePairingWindow({.newPin = press("newPin"), .close = press("close")});
  }

  // Types and lets the loop see it; `presses` is how many actions come of it.
  void type(const std::string& text, size_t presses) {
    ASSERT_EQ(write(input_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    awaited_ = pressed_.size() + presses;
    run();
  }

  // Ends the input, behind a last word that is heard when everything before has been.
  void endInput() {
    if (input_[1] >= 0) close(input_[1]);
    input_[1] = -1;
  }

  std::string printed() {
    std::string text;
    char buffer[8192];
    for (ssize_t count; (count = read(output_[0], buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<size_t>(count));
    }
    return text;
  }

  std::function<void()> press(const std::string& name) {
    return [this, name] {
      pressed_.push_back(name);
      if (pressed_.size() == awaited_) application_.quit();
    };
  }

  int input_[2] = {-1, -1};
  int output_[2] = {-1, -1};
  std::vector<std::string> pressed_;
  size_t awaited_ = 0;
  std::unique_ptr<Windows> windows_;
  std::unique_ptr<Menu> menu_;
  std::unique_ptr<PairingWindow> pairing_;
};

TEST(IsConsoleAttendedTest, APipeAndASocketHaveSomebodyAtTheOtherEnd) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_TRUE(isConsoleAttended(ends[0]));
  close(ends[0]);
  close(ends[1]);
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  EXPECT_TRUE(isConsoleAttended(ends[0]));
  close(ends[0]);
  close(ends[1]);
}

TEST(IsConsoleAttendedTest, NobodyIsAtTheNullDeviceAClosedInputOrAnothersTerminal) {
  const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_FALSE(isConsoleAttended(null));
  close(null);
  EXPECT_FALSE(isConsoleAttended(-1));
  // A terminal that is not this process's own.
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(terminal, 0);
  EXPECT_FALSE(isConsoleAttended(terminal));
  close(terminal);
}

TEST_F(ConsoleWindowsTest, TheStatusIsPrintedWhenItChanges) {
  menu_->update(withStatus("Waiting for a viewer…"));
  EXPECT_EQ(printed(), "Status: Waiting for a viewer…\n");
  menu_->update(withStatus("Waiting for a viewer…"));
  EXPECT_EQ(printed(), "");
  menu_->update(withStatus("🟢 Viewer connected", true));
  EXPECT_EQ(printed(), "Status: 🟢 Viewer connected\n");
}

TEST_F(ConsoleWindowsTest, ThePairingWindowIsPrintedWhileItIsShown) {
  pairing_->update(withPin("111111", "1  1  1  1  1  1"));
  EXPECT_EQ(printed(), "");
  pairing_->update(kWaiting);
  pairing_->orderFront();
  EXPECT_EQ(printed(), "Getting your PIN…\n");
  pairing_->update(kWaiting);
  EXPECT_EQ(printed(), "");
  pairing_->update(withPin("123456", "1  2  3  4  5  6"));
  EXPECT_EQ(printed(),
            "PIN 1  2  3  4  5  6\nThis PIN works once and expires in 10 minutes.\nPIN: 123456\n");
  pairing_->orderFront();
  EXPECT_EQ(printed(), "");
  pairing_->update({.step = PairingStep::done, .title = "Ada's phone is connected"});
  EXPECT_EQ(printed(), "Ada's phone is connected\n");
  pairing_->orderOut();
  pairing_->update(withPin("654321", "6  5  4  3  2  1"));
  EXPECT_EQ(printed(), "");
  pairing_->orderFront();
  EXPECT_THAT(printed(), HasSubstr("PIN: 654321\n"));
}

TEST_F(ConsoleWindowsTest, MissingPermissionsAreNamed) {
  pairing_->update({.title = "Let's connect this Mac",
                    .permissions = {{.granted = true, .title = "Screen Recording", .reason = "a"},
                                    {.title = "Accessibility", .reason = "so you can click"}}});
  pairing_->orderFront();
  EXPECT_EQ(printed(),
            "Let's connect this Mac\nnot allowed yet: Accessibility, so you can click\n");
}

TEST_F(ConsoleWindowsTest, TheIndicatorSaysThatSomeoneIsInControl) {
  const auto indicator = windows_->makeIndicator(kIndicator, [] {});
  EXPECT_EQ(printed(), "Someone is controlling this Mac — type d and Return to disconnect\n");
}

TEST_F(ConsoleWindowsTest, WhatComesFromOutsideCannotDriveTheTerminal) {
  pairing_->orderFront();
  printed();
  pairing_->update({.title = "\x1b]0;owned\x07\nStatus: fake\u202e\xff👩‍👧 is connected"});
  EXPECT_EQ(printed(),
            "\ufffd]0;owned\ufffd\ufffdStatus: fake\ufffd\ufffd👩‍👧 is connected\n");
  pairing_->update(withPin("1\n2", "1  \n  2"));
  EXPECT_THAT(printed(), HasSubstr("\nPIN: 1\ufffd"
                                   "2\n"));
}

TEST_F(ConsoleWindowsTest, LettersPressTheButtons) {
  type("p\nr\nq\n", 3);
  EXPECT_THAT(pressed_, ElementsAre("connectPhone", "reconnect", "quit"));
}

TEST_F(ConsoleWindowsTest, WithThePairingWindowShownPAsksForANewPinAndCClosesIt) {
  pairing_->orderFront();
  type("p\nc\n", 2);
  EXPECT_THAT(pressed_, ElementsAre("newPin", "close"));
}

TEST_F(ConsoleWindowsTest, CWithoutThePairingWindowDoesNothing) {
  type("c\nr\n", 1);
  EXPECT_THAT(pressed_, ElementsAre("reconnect"));
}

TEST_F(ConsoleWindowsTest, DDisconnectsAViewerThatIsThere) {
  printed();
  type("d\nr\n", 1);
  EXPECT_THAT(pressed_, ElementsAre("reconnect"));
  EXPECT_EQ(printed(), "No viewer is connected\n");

  menu_->update(withStatus("status", true));
  type("d\n", 1);
  EXPECT_EQ(pressed_.back(), "disconnectViewer");

  auto indicator = windows_->makeIndicator(kIndicator, press("indicator"));
  type("d\n", 1);
  EXPECT_EQ(pressed_.back(), "indicator");
  indicator = windows_->makeIndicator(kIndicator, press("next indicator"));
  type("d\n", 1);
  EXPECT_EQ(pressed_.back(), "next indicator");
  indicator.reset();
  type("d\n", 1);
  EXPECT_EQ(pressed_.back(), "disconnectViewer");
}

TEST_F(ConsoleWindowsTest, TheIndicatorMayGoWithinItsOwnPress) {
  std::unique_ptr<IndicatorPanel> indicator;
  auto alive = std::make_shared<int>(0);
  indicator = windows_->makeIndicator(kIndicator, [this, alive, &indicator] {
    indicator.reset();
    ++*alive;
    press("gone")();
  });
  type("d\n", 1);
  EXPECT_EQ(*alive, 1);
}

TEST_F(ConsoleWindowsTest, BlanksAreForgivenAndTheUnknownBringsTheHelp) {
  type("  r \r\n\n   \nR\n\xff\nrr\nh\nr\n", 2);
  EXPECT_THAT(pressed_, ElementsAre("reconnect", "reconnect"));
  const std::string help = printed();
  EXPECT_THAT(help, HasSubstr("q: quit"));
  EXPECT_EQ(std::count(help.begin(), help.end(), '\n'), 4 * 2);
}

TEST_F(ConsoleWindowsTest, ALineMayComeInPieces) {
  queue_->post([this] { ASSERT_EQ(write(input_[1], "\n", 1), 1); });
  type("r", 1);
  EXPECT_THAT(pressed_, ElementsAre("reconnect"));
}

TEST_F(ConsoleWindowsTest, AnEndlessLineIsDropped) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(write(input_[1], std::string(20'000, 'r').data(), 20'000), 20'000);
    runPosted();
  }
  type("\nq\n", 1);
  EXPECT_THAT(pressed_, ElementsAre("quit"));
}

TEST_F(ConsoleWindowsTest, TheLastLineMayLackItsReturnAndTheEndIsJustTheEnd) {
  ASSERT_EQ(write(input_[1], "r\nq", 3), 3);
  endInput();
  awaited_ = 2;
  run();
  EXPECT_THAT(pressed_, ElementsAre("reconnect", "quit"));
  menu_->update(withStatus("still here"));
  EXPECT_THAT(printed(), HasSubstr("Status: still here\n"));
  runPosted();
}

TEST_F(ConsoleWindowsTest, WithNothingToReadNothingHappens) {
  const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  for (const int input : {null, -1, 1000}) {
    menu_.reset();
    pairing_.reset();
    open(input);
    queue_->after(0.02, [this] { application_.quit(); });
    run();
    menu_->update(withStatus("up"));
    EXPECT_EQ(printed(), "Status: up\n");
  }
  EXPECT_THAT(pressed_, IsEmpty());
  menu_.reset();
  pairing_.reset();
  windows_.reset();
  close(null);
}

TEST_F(ConsoleWindowsTest, AReaderThatIsBehindOrGoneHoldsUpNothing) {
  for (int i = 0; i < 2000; ++i) {
    menu_->update(withStatus(std::string(100, 'x') + std::to_string(i)));
  }
  EXPECT_THAT(printed(), HasSubstr("Status: xxx"));
  menu_->update(withStatus("after"));
  EXPECT_EQ(printed(), "Status: after\n");

  close(output_[0]);
  menu_->update(withStatus("to nobody"));
  type("q\n", 1);
  EXPECT_THAT(pressed_, ElementsAre("quit"));
  output_[0] = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST_F(ConsoleWindowsTest, InTheBackgroundOfATerminalItIsNotStopped) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  const std::string terminal = ptsname(master);
  const pid_t shell = fork();
  if (shell == 0) {
    // A session of its own, with the terminal's foreground elsewhere than the host's group.
    setsid();
    const int tty = ::open(terminal.c_str(), O_RDWR);
    const pid_t host = fork();
    if (host == 0) {
      setpgid(0, 0);
      menu_.reset();
      pairing_.reset();
      open(tty);
      if (write(master, "q\n", 2) != 2) _exit(3);
      queue_->after(0.1, [this] { application_.quit(); });
      application_.run();
      _exit(pressed_.empty() ? 0 : 1);
    }
    setpgid(host, host);
    int status = 0;
    if (waitpid(host, &status, WUNTRACED) != host) _exit(4);
    if (WIFSTOPPED(status)) kill(host, SIGKILL);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(shell, &status, 0), shell);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  close(master);
}

}  // namespace
}  // namespace tovalin::test
