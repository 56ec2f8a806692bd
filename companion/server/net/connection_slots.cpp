#include "companion/server/net/connection_slots.h"

#include <algorithm>
#include <unordered_map>

namespace tovalin::server {

struct ConnectionSlots::Taken {
  const Bounds bounds;
  std::size_t total = 0;
  std::unordered_map<std::string, std::size_t> byAddress;  // none of them zero
};

ConnectionSlots::ConnectionSlots(Bounds bounds)
    : taken_(std::make_shared<Taken>(Taken{bounds, 0, {}})) {}

std::shared_ptr<void> ConnectionSlots::take(const std::string& address) {
  if (taken_->total >= taken_->bounds.total) return nullptr;
  const auto entry = taken_->byAddress.try_emplace(address, 0).first;
  if (entry->second >= taken_->bounds.perAddress) return nullptr;
  ++entry->second;
  ++taken_->total;
  return {&*entry, [taken = taken_, address](void*) {
            const auto mine = taken->byAddress.find(address);
            if (--mine->second == 0) taken->byAddress.erase(mine);
            --taken->total;
          }};
}

std::shared_ptr<void> ConnectionSlots::takeForProxy() {
  if (taken_->total >= taken_->bounds.total) return nullptr;
  ++taken_->total;
  return {taken_.get(), [taken = taken_](void*) { --taken->total; }};
}

ConnectionSlots::Bounds boundsFor(std::size_t descriptors) {
  constexpr std::size_t kKeptBack = 64;
  constexpr std::size_t kMost = 60'000;  // beyond it, memory would be the first to run out
  constexpr std::size_t kMostOfOneAddress = 1000;
  const std::size_t total = std::min(kMost, descriptors - std::min(descriptors / 2, kKeptBack));
  return {total, std::min(kMostOfOneAddress, total / 2)};
}

}  // namespace tovalin::server
