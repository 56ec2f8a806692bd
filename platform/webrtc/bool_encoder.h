#pragma once

#include "platform/webrtc/require_checks.h"

#include <algorithm>
#include <bit>
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
    bottom_ += bit ? split : 0;
    range_ = bit ? range_ - split : split;
    if (range_ >= kLeastRange) return;
    const int shift = std::countl_zero(static_cast<uint8_t>(range_));
    range_ <<= shift;
    this->shift(shift);
  }
  // The highest bit first.
  void number(unsigned bits, unsigned value) {
    while (bits-- > 0) put((value >> bits & 1) != 0, kEven);
  }
  void flag(bool value) { put(value, kEven); }

  // With what a decoder reads ahead.
  void finish() {
    for (int i = 0; i < 4; ++i) shift(8);
    giveOut();
  }

 private:
  void shift(int bits) {
    bottom_ <<= bits;
    bits_ += bits;
    constexpr int kMost = 32;
    if (bits_ >= kMost) giveOut();
  }
  void giveOut() {
    for (; bits_ >= 8; bits_ -= 8) {
      const uint64_t byte = bottom_ >> bits_;
      if (byte > 0xFF) carry();
      bytes_.push_back(static_cast<uint8_t>(byte));
      bottom_ &= (uint64_t{1} << bits_) - 1;
    }
  }
  // Ends before the beginning: all that is coded is less than one.
  void carry() {
    auto byte = bytes_.rbegin();
    while (++*byte == 0) ++byte;
  }

  static constexpr uint32_t kLeastRange = 128;

  std::vector<uint8_t>& bytes_;
  uint64_t bottom_ = 0;  // what is not yet in the bytes, and a carry
  uint32_t range_ = 255;
  int bits_ = 0;  // of the bottom, above the eight that may still change
};

}  // namespace tovalin
