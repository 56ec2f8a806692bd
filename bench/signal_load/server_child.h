#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tovalin::bench {

// A server in a process of its own, and what that process costs. It prints "READY PORT".
class ServerChild {
 public:
  // Returns when it listens. Its log goes to `logFile`. Throws when it does not start.
  ServerChild(const std::vector<std::string>& command, const std::string& logFile);
  ~ServerChild();
  ServerChild(const ServerChild&) = delete;
  ServerChild& operator=(const ServerChild&) = delete;

  uint16_t port() const { return port_; }
  double cpuSeconds() const;  // user and system time so far
  double residentBytes() const;

 private:
  pid_t pid_ = -1;
  uint16_t port_ = 0;
};

}  // namespace tovalin::bench
