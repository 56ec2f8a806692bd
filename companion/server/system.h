#pragma once

#include <cstddef>
#include <ctime>

#include "companion/server/core/clock.h"
#include "platform/secure_random.h"

namespace tovalin::server {

// The machine's own clocks.
class SystemClock : public Clock {
 public:
  Time now() const override { return std::chrono::steady_clock::now(); }
  int64_t unixTime() const override { return std::time(nullptr); }
};

// The kernel's generator, getrandom(2).
class SystemRandom : public SecureRandom {
 public:
  int fill(std::span<uint8_t> bytes) override;
};

// How many descriptors the process may have open, raised as far as its user may raise it.
std::size_t raisedDescriptorLimit();

}  // namespace tovalin::server
