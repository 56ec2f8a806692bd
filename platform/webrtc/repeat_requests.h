#pragma once

#include "platform/webrtc/require_checks.h"

#include <memory>
#include <mutex>
#include <vector>

namespace tovalin {

// Carries an encoder's wish to get the last picture again, for it could be sharper, to whoever has
// that picture. Any thread.
class RepeatRequests {
 public:
  enum class When {
    afterPause,  // once the screen rests
    next         // while it still does: more of the same picture is to come
  };

  class Receiver {
   public:
    virtual ~Receiver() = default;

    // Comes on the encoder's queue; must not block.
    virtual void repeatSoon(When when) = 0;
  };

  void add(std::weak_ptr<Receiver> receiver) {
    std::lock_guard lock(mutex_);
    std::erase_if(receivers_, [](const auto& known) { return known.expired(); });
    receivers_.push_back(std::move(receiver));
  }

  void request(When when) {
    std::lock_guard lock(mutex_);
    for (const auto& receiver : receivers_) {
      if (const auto alive = receiver.lock()) alive->repeatSoon(when);
    }
  }

 private:
  std::mutex mutex_;
  std::vector<std::weak_ptr<Receiver>> receivers_;
};

}  // namespace tovalin
