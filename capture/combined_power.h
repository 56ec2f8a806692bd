#pragma once

#include <map>
#include <utility>
#include <vector>

#include "platform/power.h"

namespace tovalin {

// Several power managers as one: an assertion is taken at each that offers its type, and activity
// is declared to all. Threads as in the port.
class CombinedPower : public Power {
 public:
  // Each of `managers` outlives this.
  explicit CombinedPower(std::vector<Power*> managers);

  // Held when at least one manager holds it.
  AssertionId createAssertion(std::string_view type, int level, std::string_view name) override;
  void releaseAssertion(AssertionId id) override;
  void declareUserActivity(std::string_view name) override;

 private:
  const std::vector<Power*> managers_;
  std::map<AssertionId, std::vector<std::pair<Power*, AssertionId>>> held_;
  AssertionId lastId_ = 0;
};

}  // namespace tovalin
