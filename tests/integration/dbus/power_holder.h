#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>

namespace tovalin::test {

// A process that takes both assertions and keeps them until it is killed.
class PowerHolder {
 public:
  PowerHolder(const std::string& address, const std::string& name) {
    pid_ = fork();
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl(TOVALIN_POWER_HOLDER, TOVALIN_POWER_HOLDER, address.c_str(), name.c_str(), nullptr);
    _exit(127);
  }
  ~PowerHolder() { kill(); }
  PowerHolder(const PowerHolder&) = delete;
  PowerHolder& operator=(const PowerHolder&) = delete;

  // At once, as the system ends a process that is out of control.
  void kill() {
    const pid_t pid = std::exchange(pid_, -1);
    if (pid <= 0) return;
    ::kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }

 private:
  pid_t pid_ = -1;
};

}  // namespace tovalin::test
