#include "tests/integration/support/xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace tovalin::test {
namespace {

constexpr int kStartupMs = 30'000;

// Reads the display number, which Xvfb writes with a newline once it accepts clients.
std::string readDisplayNumber(int fd) {
  std::string text;
  pollfd ready{fd, POLLIN, 0};
  while (text.find('\n') == std::string::npos) {
    if (poll(&ready, 1, kStartupMs) <= 0) return {};
    char buffer[16];
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) return {};
    text.append(buffer, static_cast<size_t>(count));
  }
  return text.substr(0, text.find('\n'));
}

}  // namespace

Xvfb::Xvfb(const std::string& screen, std::vector<std::string> options) {
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  std::vector<std::string> words = {"Xvfb",     "-screen",    "0",
                                    screen,     "-nolisten",  "tcp",
                                    "-noreset", "-displayfd", std::to_string(channel[1])};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    fcntl(channel[1], F_SETFD, 0);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  close(channel[1]);
  const std::string number = readDisplayNumber(channel[0]);
  close(channel[0]);
  if (number.empty()) {
    kill();
    throw std::runtime_error("Xvfb did not start; is the package xvfb installed?");
  }
  display_ = ":" + number;
}

Xvfb::~Xvfb() {
  kill();
}

void Xvfb::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace tovalin::test
