#pragma once

#include "platform/webrtc/require_checks.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tovalin {

// Of a zero, in 256ths; never 0.
using Probability = uint8_t;
constexpr Probability kEven = 128;

// That of what has come up so often. A decision that never came up is even.
constexpr Probability probabilityOf(uint64_t zeros, uint64_t ones) {
  if (zeros + ones == 0) return kEven;
  return static_cast<Probability>(std::clamp<uint64_t>(256 * zeros / (zeros + ones), 1, 255));
}

// VP8's arithmetic coder (RFC 6386, 7).
class BoolEncoder {
 public:
  // Appends to them.
  explicit BoolEncoder(std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  void put(bool bit, Probability zero) {
    const uint32_t split = 1 + ((range_ - 1) * zero >> 8);
    if (bit) bottom_ += split;
    range_ = bit ? range_ - split : split;
    for (; range_ < 128; range_ *= 2) shift();
  }
  // The highest bit first.
  void number(unsigned bits, unsigned value) {
    while (bits-- > 0) put((value >> bits & 1) != 0, kEven);
  }
  void flag(bool value) { put(value, kEven); }

  // With what a decoder reads ahead.
  void finish() {
    for (int i = 0; i < 32; ++i) shift();
  }

 private:
  void shift() {
    bottom_ *= 2;
    if (++shifted_ < 8) return;
    if ((bottom_ & 0x10000) != 0) carry();
    bytes_.push_back(static_cast<uint8_t>(bottom_ >> 8));
    bottom_ &= 0xFF;
    shifted_ = 0;
  }
  // Ends before the beginning: all that is coded is less than one.
  void carry() {
    auto byte = bytes_.rbegin();
    while (++*byte == 0) ++byte;
  }

  std::vector<uint8_t>& bytes_;
  uint32_t bottom_ = 0;  // what is not yet in the bytes, and a carry
  uint32_t range_ = 255;
  int shifted_ = 0;
};

}  // namespace tovalin
