#include "platform/x11/x11_capture_threads.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace tovalin {

bool CaptureThreads::run(const std::string& name, Task body, Task interrupt) {
  std::vector<std::shared_ptr<Entry>> finished;
  {
    std::lock_guard lock(mutex_);
    if (ended_) return false;
    const auto done = std::partition(entries_.begin(), entries_.end(),
                                     [](const auto& entry) { return !entry->done; });
    finished.assign(std::make_move_iterator(done), std::make_move_iterator(entries_.end()));
    entries_.erase(done, entries_.end());

    auto entry = std::make_shared<Entry>();
    entry->interrupt = std::move(interrupt);
    try {
      entry->thread = std::thread([entry, name, body = std::move(body)]() mutable {
        pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
        std::exchange(body, nullptr)();
        entry->done = true;
      });
    } catch (const std::system_error&) {
      return false;
    }
    entries_.push_back(std::move(entry));
  }
  // They have nothing left to do: this waits for their last instructions.
  for (const auto& entry : finished) entry->thread.join();
  return true;
}

void CaptureThreads::endAll() {
  std::vector<std::shared_ptr<Entry>> entries;
  {
    std::lock_guard lock(mutex_);
    ended_ = true;
    entries = std::exchange(entries_, {});
  }
  for (const auto& entry : entries) entry->interrupt();
  for (const auto& entry : entries) {
    if (entry->thread.get_id() == std::this_thread::get_id()) {
      entry->thread.detach();
    } else {
      entry->thread.join();
    }
  }
}

}  // namespace tovalin
