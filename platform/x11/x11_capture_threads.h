#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tovalin {

// The threads of the screen capture. Nobody waits for one of them but the end of the capture as a
// whole, so that a stuck X server holds up its own thread only. Any thread.
class CaptureThreads {
 public:
  using Task = std::function<void()>;

  // Runs `body` on a new thread of this name (15 characters count). `interrupt` asks it to end
  // soon; it may come at any moment, also after the end. False after `endAll`: nothing is run.
  bool run(const std::string& name, Task body, Task interrupt);

  // Interrupts all threads and waits until they have ended. From one of them, it waits for the
  // others only.
  void endAll();

 private:
  struct Entry {
    std::thread thread;
    Task interrupt;
    std::atomic<bool> done{false};
  };

  std::mutex mutex_;
  std::vector<std::shared_ptr<Entry>> entries_;
  bool ended_ = false;
};

}  // namespace tovalin
