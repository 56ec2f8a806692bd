#include "capture/power_assertion.h"

#include <string_view>

namespace tovalin {
namespace {

constexpr std::string_view kName = "Tovalin viewer connected";

}  // namespace

PowerAssertion::PowerAssertion(Power& power) : power_(power) {}

void PowerAssertion::hold() {
  if (held_) return;
  held_ = true;
  displayId_ = power_.createAssertion(kNoDisplaySleep, kAssertionLevelOn, kName);
  systemId_ = power_.createAssertion(kNoIdleSleep, kAssertionLevelOn, kName);
}

void PowerAssertion::release() {
  if (!held_) return;
  held_ = false;
  giveBack(displayId_);
  giveBack(systemId_);
}

void PowerAssertion::giveBack(AssertionId& id) {
  if (id != 0) power_.releaseAssertion(id);
  id = 0;
}

}  // namespace tovalin
