#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tovalin::test {

// A private X server, from construction to destruction. The display number is the server's own
// choice, so that tests may run beside each other. Throws when the server does not start.
class Xvfb {
 public:
  // `screen` as Xvfb's -screen option takes it; `options` are passed through
  // (for instance {"-extension", "MIT-SHM"}).
  explicit Xvfb(const std::string& screen = "1280x720x24", std::vector<std::string> options = {});
  ~Xvfb();
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;

  // For DISPLAY or xcb_connect, ":7" for instance.
  const std::string& display() const { return display_; }

  // Ends the server at once, as a crash would. The destructor copes.
  void kill();

 private:
  pid_t pid_ = -1;
  std::string display_;
};

}  // namespace tovalin::test
