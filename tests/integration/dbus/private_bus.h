#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace tovalin::test {

// A message bus of the test's own, from construction to destruction. It knows no service files, so
// that nothing installed on the machine is ever started. Throws when it does not start.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // As in DBUS_SESSION_BUS_ADDRESS; the same after a restart.
  std::string address() const { return "unix:path=" + (folder_ / "bus").string(); }

  void stop();
  void start();

 private:
  std::filesystem::path folder_;
  pid_t pid_ = -1;
};

}  // namespace tovalin::test
