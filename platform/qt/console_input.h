#pragma once

#include <functional>
#include <memory>
#include <string>

class QSocketNotifier;

namespace tovalin {

// Lines that somebody types, as events of the main loop. At the end of the input it just stops; a
// terminal is left alone while the program is in the background there. Main thread.
class ConsoleInput {
 public:
  // `onLine` is called with each line, without its newline. A line of more than 4 KiB is dropped.
  // An `fd` that is not open gives nothing.
  ConsoleInput(int fd, std::function<void(const std::string& line)> onLine);
  ~ConsoleInput();
  ConsoleInput(const ConsoleInput&) = delete;
  ConsoleInput& operator=(const ConsoleInput&) = delete;

 private:
  void readable();
  void take(const char* bytes, size_t count);
  void finishLine();

  const int fd_;
  const std::function<void(const std::string& line)> onLine_;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::string line_;
};

}  // namespace tovalin
