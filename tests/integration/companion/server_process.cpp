#include "tests/integration/companion/server_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace tovalin::test {
namespace {

constexpr int kPatienceMs = 30'000;

}  // namespace

OutputPipe::OutputPipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  readEnd_ = ends[0];
  writeEnd_ = ends[1];
}

OutputPipe::~OutputPipe() {
  close(readEnd_);
  closeWriteEnd();
}

void OutputPipe::closeWriteEnd() {
  if (writeEnd_ >= 0) close(writeEnd_);
  writeEnd_ = -1;
}

std::string OutputPipe::readLine() {
  for (;;) {
    if (const auto end = unread_.find('\n'); end != std::string::npos) {
      const std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      return line;
    }
    if (!readSome()) throw std::runtime_error("the program ended; it last said: " + unread_);
  }
}

std::string OutputPipe::readAll() {
  while (readSome()) continue;
  return std::exchange(unread_, {});
}

bool OutputPipe::readSome() {
  pollfd ready{readEnd_, POLLIN, 0};
  if (poll(&ready, 1, kPatienceMs) <= 0) throw std::runtime_error("the program says nothing");
  char buffer[4096];
  const ssize_t count = read(readEnd_, buffer, sizeof buffer);
  if (count > 0) unread_.append(buffer, static_cast<size_t>(count));
  return count > 0;
}

ServerProcess::ServerProcess(const std::vector<std::string>& arguments, unsigned descriptors) {
  std::vector<std::string> words = {TOVALIN_SIGNAL_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (auto& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);

  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (descriptors > 0) {
      const rlimit limit{descriptors, descriptors};
      setrlimit(RLIMIT_NOFILE, &limit);
    }
    dup2(output_.writeEnd(), STDOUT_FILENO);
    dup2(log_.writeEnd(), STDERR_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  output_.closeWriteEnd();
  log_.closeWriteEnd();
  if (pid_ < 0) throw std::runtime_error("fork failed");
}

ServerProcess::~ServerProcess() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

uint16_t ServerProcess::waitUntilReady() {
  const std::string line = output_.readLine();
  if (!line.starts_with("READY ")) throw std::runtime_error("not ready but: " + line);
  return static_cast<uint16_t>(std::stoi(line.substr(6)));
}

std::string ServerProcess::waitForLog(const std::string& text) {
  for (;;) {
    std::string line = log_.readLine();
    if (line.find(text) != std::string::npos) return line;
  }
}

void ServerProcess::terminate() {
  kill(pid_, SIGTERM);
}

void ServerProcess::hangUp() {
  kill(pid_, SIGHUP);
}

int ServerProcess::waitForExit() {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
  pollfd ended{handle, POLLIN, 0};
  const int ready = poll(&ended, 1, kPatienceMs);
  close(handle);
  if (ready <= 0) throw std::runtime_error("the program does not end");
  int status = 0;
  waitpid(std::exchange(pid_, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace tovalin::test
