#pragma once

#include <memory>
#include <utility>

namespace tovalin {

// Wraps `body` into a task that holds `owner` weakly. When the task runs and the owner still
// exists, `body` is called with the owner (kept alive for the call) and the task's arguments;
// afterwards the task does nothing. The one way in which tasks outlive their owner here.
template <typename Owner, typename Body>
auto weakly(const std::shared_ptr<Owner>& owner, Body body) {
  return [weak = std::weak_ptr<Owner>(owner), body = std::move(body)](auto&&... arguments) mutable {
    if (auto alive = weak.lock()) body(*alive, std::forward<decltype(arguments)>(arguments)...);
  };
}

}  // namespace tovalin
