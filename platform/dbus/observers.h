#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

#include "platform/subscription.h"

namespace tovalin {

// Who wants to be told of something. An observer may end its own observation or another's while it
// is being told. Main thread.
template <typename... Arguments>
class Observers {
 public:
  using Observer = std::function<void(Arguments...)>;

  [[nodiscard]] std::unique_ptr<Subscription> add(Observer observer) {
    auto entry = std::make_shared<Observer>(std::move(observer));
    entries_.remove_if([](const auto& weak) { return weak.expired(); });
    entries_.push_back(entry);
    return std::make_unique<Observation>(std::move(entry));
  }

  void tell(Arguments... arguments) const {
    for (const auto& weak : std::list(entries_)) {
      if (const auto observer = weak.lock()) (*observer)(arguments...);
    }
  }

 private:
  struct Observation : Subscription {
    explicit Observation(std::shared_ptr<Observer> observer) : entry(std::move(observer)) {}
    const std::shared_ptr<Observer> entry;
  };

  std::list<std::weak_ptr<Observer>> entries_;
};

}  // namespace tovalin
