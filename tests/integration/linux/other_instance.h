#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/running_applications.h"
#include "tests/fakes/fake_descriptor_watcher.h"
#include "tests/fakes/fake_system.h"

namespace tovalin {

// Another process that has noted itself, until it is killed. It says when it has been asked to show
// itself.
class OtherInstance {
 public:
  explicit OtherInstance(const std::filesystem::path& directory) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    reader_ = FileDescriptor(ends[0]);
    FileDescriptor writer(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      fake::FakeSystemLog log;
      fake::FakeDescriptorWatcher loop;
      const auto running = makeRunningApplications(directory, log, loop, [] {});
      const auto shown = running->onActivate([&] {
        if (write(writer.get(), "!", 1) != 1) _exit(1);
      });
      if (write(writer.get(), "+", 1) != 1) _exit(1);
      for (;;) loop.runUntil([] { return false; });
    }
    writer.reset();
    EXPECT_EQ(says(), '+');
  }
  ~OtherInstance() { crash(); }
  OtherInstance(const OtherInstance&) = delete;
  OtherInstance& operator=(const OtherInstance&) = delete;

  int pid() const { return pid_; }

  // What it says next: '!' for having been asked to show itself; 0 when it is gone.
  char says() const {
    char word = 0;
    return read(reader_.get(), &word, 1) == 1 ? word : '\0';
  }

  // Ends it without a chance to remove its note.
  void crash() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  // Ends it, but leaves the body unburied.
  void becomeZombie() {
    kill(pid_, SIGKILL);
    siginfo_t info;
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT), 0);
  }

 private:
  pid_t pid_ = -1;
  FileDescriptor reader_;
};

}  // namespace tovalin
