#pragma once

#include <algorithm>
#include <chrono>

#include "companion/server/core/clock.h"

namespace tovalin::server {

// Allows `capacity` units at once and `perSecond` in the long run.
class TokenBucket {
 public:
  TokenBucket(double capacity, double perSecond, Time now)
      : capacity_(capacity), perSecond_(perSecond), left_(capacity), filledAt_(now) {}

  // Takes `amount` units; false when there are not as many, in which case none is taken.
  bool take(double amount, Time now) {
    fill(now);
    if (left_ < amount) return false;
    left_ -= amount;
    return true;
  }

  // How long until `amount` units can be taken; zero when they can be now.
  std::chrono::duration<double> timeUntil(double amount, Time now) {
    fill(now);
    return std::chrono::duration<double>(std::max(0.0, (amount - left_) / perSecond_));
  }

 private:
  void fill(Time now) {
    const std::chrono::duration<double> passed = now - filledAt_;
    left_ = std::min(capacity_, left_ + passed.count() * perSecond_);
    filledAt_ = now;
  }

  double capacity_;
  double perSecond_;
  double left_;
  Time filledAt_;
};

}  // namespace tovalin::server
