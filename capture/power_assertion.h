#pragma once

#include "platform/power.h"

namespace tovalin {

// Keeps the display on and the system awake while a viewer is connected. Holds are not counted:
// one release() ends any number of them. Main thread.
class PowerAssertion {
 public:
  // `power` must outlive this.
  explicit PowerAssertion(Power& power);

  // What the system refuses is silently not held.
  void hold();
  void release();

 private:
  void giveBack(AssertionId& id);

  Power& power_;
  AssertionId displayId_ = 0;
  AssertionId systemId_ = 0;
  bool held_ = false;
};

}  // namespace tovalin
