#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/linux/file_descriptor.h"
#include "tests/integration/linux/temporary_directory.h"

namespace tovalin::test {

// A program that reports each start of itself in one line and runs on until the stub is gone. The
// line holds its process id, then its arguments; each start is to be waited for.
class StubProgram {
 public:
  explicit StubProgram(const std::filesystem::path& file) : channel_(file.string() + ".starts") {
    writeFile(file, "#!/bin/sh\nexec 3<'" + channel_.string() + ".end'\necho \"$$ $*\" >'" +
                        channel_.string() + "'\nexec cat <&3 >/dev/null 2>&1\n");
    std::filesystem::permissions(file, std::filesystem::perms(0755));
    if (mkfifo(channel_.c_str(), 0600) != 0 || mkfifo((channel_.string() + ".end").c_str(), 0600)) {
      throw std::runtime_error("mkfifo failed");
    }
    starts_ = FileDescriptor(open(channel_.c_str(), O_RDWR | O_CLOEXEC));
    end_ = FileDescriptor(open((channel_.string() + ".end").c_str(), O_RDWR | O_CLOEXEC));
  }

  // The line of the next start; empty when none comes in `patienceMs`.
  std::string nextStart(int patienceMs = 20'000) const {
    std::string line;
    pollfd readable{starts_.get(), POLLIN, 0};
    while (poll(&readable, 1, patienceMs) > 0) {
      char byte = 0;
      if (read(starts_.get(), &byte, 1) != 1 || byte == '\n') break;
      line += byte;
    }
    return line;
  }

 private:
  std::filesystem::path channel_;
  FileDescriptor starts_;
  FileDescriptor end_;
};

}  // namespace tovalin::test
