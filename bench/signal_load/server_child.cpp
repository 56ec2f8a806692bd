#include "bench/signal_load/server_child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tovalin::bench {

ServerChild::ServerChild(const std::vector<std::string>& command, const std::string& logFile) {
  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  const int log = open(logFile.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
  std::vector<std::string> words = command;
  std::vector<char*> pointers;
  for (auto& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output[1], STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  ::close(output[1]);
  ::close(log);
  std::array<char, 64> line{};
  FILE* reading = fdopen(output[0], "r");
  const bool isReady = reading && fgets(line.data(), line.size(), reading) != nullptr &&
                       sscanf(line.data(), "READY %hu", &port_) == 1;
  if (reading) fclose(reading);
  if (!isReady) throw std::runtime_error(command[0] + " does not start; see " + logFile);
}

ServerChild::~ServerChild() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

double ServerChild::cpuSeconds() const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
  std::string all;
  std::getline(file, all);
  std::istringstream fields(all.substr(all.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0, system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double ServerChild::residentBytes() const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/statm");
  double total = 0, resident = 0;
  file >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

}  // namespace tovalin::bench
