#include "capture/combined_power.h"

namespace tovalin {

CombinedPower::CombinedPower(std::vector<Power*> managers) : managers_(std::move(managers)) {}

AssertionId CombinedPower::createAssertion(std::string_view type, int level,
                                           std::string_view name) {
  std::vector<std::pair<Power*, AssertionId>> parts;
  for (auto* manager : managers_) {
    if (const auto id = manager->createAssertion(type, level, name))
      parts.emplace_back(manager, id);
  }
  if (parts.empty()) return 0;
  held_[++lastId_] = std::move(parts);
  return lastId_;
}

void CombinedPower::releaseAssertion(AssertionId id) {
  const auto found = held_.extract(id);
  if (found.empty()) return;
  for (const auto& [manager, part] : found.mapped()) manager->releaseAssertion(part);
}

void CombinedPower::declareUserActivity(std::string_view name) {
  for (auto* manager : managers_) manager->declareUserActivity(name);
}

}  // namespace tovalin
