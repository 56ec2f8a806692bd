#pragma once

namespace tovalin {

// An active observation; destroying it ends it.
class Subscription {
 public:
  virtual ~Subscription() = default;
};

}  // namespace tovalin
