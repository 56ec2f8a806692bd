#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/descriptor_watcher.h"
#include "platform/error.h"
#include "platform/linux/file_descriptor.h"

namespace tovalin {

// Where one process of this program asks another to show itself: a datagram socket in a directory
// that only the user may write to, named by the id of the process that listens. Main thread.
class ActivationSocket {
 public:
  // The socket's file name is the process id with this behind it.
  static constexpr const char* kExtension = ".socket";
  static std::string nameFor(int processId);

  ActivationSocket() = default;
  ~ActivationSocket();
  ActivationSocket(const ActivationSocket&) = delete;
  ActivationSocket& operator=(const ActivationSocket&) = delete;

  // Listens for this process until destruction and calls `observer` for what arrives, once for all
  // that is waiting. A file left by a dead process of the same number is replaced. Absent: success.
  std::optional<Error> listen(DescriptorWatcher& watcher, const std::filesystem::path& directory,
                              std::function<void()> observer);

  // Asks the process that listens in `directory` under that id. Never waits, and does nothing when
  // there is no socket of this user's under the name.
  static void ask(const std::filesystem::path& directory, int processId);

 private:
  bool takeRequests();

  std::filesystem::path file_;
  FileDescriptor socket_;
  std::unique_ptr<Subscription> watch_;
};

}  // namespace tovalin
