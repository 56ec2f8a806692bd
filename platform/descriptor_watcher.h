#pragma once

#include <functional>
#include <memory>

#include "platform/subscription.h"

namespace tovalin {

// Lets an adapter that owns a file descriptor live on the main thread's run loop, without a thread
// of its own.
class DescriptorWatcher {
 public:
  virtual ~DescriptorWatcher() = default;

  // Calls `observer` on the main thread whenever `descriptor` can be read. The descriptor stays the
  // caller's, who drops the subscription before closing it. Main thread.
  [[nodiscard]] virtual std::unique_ptr<Subscription> onReadable(
      int descriptor, std::function<void()> observer) = 0;
};

}  // namespace tovalin
