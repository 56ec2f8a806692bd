#include "platform/linux/detached_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace tovalin {
namespace {

void takeNullForStandardFiles() {
  const int null = open("/dev/null", O_RDWR);
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, fd);
  close_range(STDERR_FILENO + 1, ~0U, 0);
}

// Ignored and blocked signals survive exec; the program must not inherit ours.
void takeDefaultSignals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace

bool launchDetached(const std::vector<std::string>& command) {
  if (command.empty()) return false;
  std::vector<char*> arguments;
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  // Between fork and exec only what is safe in a signal handler: other threads may hold any lock.
  // The child that has to be buried ends at once; its own child is inherited by init.
  const pid_t child = _Fork();
  if (child < 0) return false;
  if (child == 0) {
    setsid();
    const pid_t grandchild = _Fork();
    if (grandchild != 0) _exit(grandchild < 0 ? 1 : 0);
    takeNullForStandardFiles();
    takeDefaultSignals();
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    // Whoever ignores SIGCHLD has its children buried by the kernel.
    if (errno != EINTR) return true;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tovalin
