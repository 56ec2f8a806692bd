#pragma once

#include <cstdint>
#include <span>

namespace tovalin {

// The system's cryptographically secure random generator.
class SecureRandom {
 public:
  virtual ~SecureRandom() = default;

  // Fills `bytes`. Returns 0, or the system's error number, in which case the bytes are left as
  // they were. Any thread.
  virtual int fill(std::span<uint8_t> bytes) = 0;
};

}  // namespace tovalin
