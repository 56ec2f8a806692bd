#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>

namespace tovalin::test {

// A message bus of the test's own, from construction to destruction. It knows no service files but
// the test's, so that nothing installed on the machine is ever started. Throws when it does not
// start.
class PrivateBus {
 public:
  // `startable`: services that the bus starts when they are called, each with its command line, in
  // which ADDRESS stands for the bus's.
  using CommandLines = std::map<std::string, std::string>;
  explicit PrivateBus(const CommandLines& startable = {});
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // As in DBUS_SESSION_BUS_ADDRESS; the same after a restart.
  std::string address() const { return "unix:path=" + (folder_ / "bus").string(); }

  void stop();
  void start();

 private:
  void writeService(const std::string& name, std::string command) const;

  std::filesystem::path folder_;
  pid_t pid_ = -1;
};

}  // namespace tovalin::test
