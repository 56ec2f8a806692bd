#pragma once

#include <cstdint>
#include <string_view>

namespace tovalin {

using AssertionId = uint32_t;  // 0: none

// The assertion types, by the names the power manager knows them.
inline constexpr std::string_view kNoDisplaySleep = "NoDisplaySleepAssertion";
inline constexpr std::string_view kNoIdleSleep = "NoIdleSleepAssertion";
inline constexpr int kAssertionLevelOn = 255;

// The power manager. Nothing here reports failure or blocks; what is held is given back by the
// system when the process ends.
class Power {
 public:
  virtual ~Power() = default;

  // A held assertion, or 0 when the system offers none of that type. Main thread.
  virtual AssertionId createAssertion(std::string_view type, int level, std::string_view name) = 0;
  virtual void releaseAssertion(AssertionId id) = 0;
  // Counts as the user touching the machine: a sleeping display wakes. Any thread.
  virtual void declareUserActivity(std::string_view name) = 0;
};

}  // namespace tovalin
