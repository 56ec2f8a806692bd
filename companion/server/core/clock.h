#pragma once

#include <chrono>
#include <cstdint>

namespace tovalin::server {

using Time = std::chrono::steady_clock::time_point;

// Time, injected so that tests own it.
class Clock {
 public:
  virtual ~Clock() = default;

  // For every deadline; never jumps.
  virtual Time now() const = 0;

  // Seconds since 1970, for what is stored and read by people.
  virtual int64_t unixTime() const = 0;
};

}  // namespace tovalin::server
