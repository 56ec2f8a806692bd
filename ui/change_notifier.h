#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/subscription.h"

namespace tovalin {

// Tells observers that something of an object has changed. Main thread. Observers may subscribe and
// unsubscribe while being told.
class ChangeNotifier {
 public:
  [[nodiscard]] std::unique_ptr<Subscription> subscribe(std::function<void()> observer);
  void notify();

 private:
  using Observer = std::function<void()>;
  // Weak on both sides, so that neither a subscription nor its subject has to die first.
  std::vector<std::weak_ptr<Observer>> observers_;
};

}  // namespace tovalin
