#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/error.h"

namespace tovalin {

// How a screen's pixels lie in memory, as the server states it.
struct PixelLayout {
  int depth = 0;         // significant bits
  int bitsPerPixel = 0;  // storage bits: 8, 16, 24 or 32
  int scanlinePad = 0;   // rows are padded to this many bits
  uint32_t redMask = 0;
  uint32_t greenMask = 0;
  uint32_t blueMask = 0;
  int visualClass = 0;  // the protocol's number; 4 is true color
  bool mostSignificantByteFirst = false;

  // Bytes of one row of `width` pixels.
  int stride(int width) const;
  // True when the pixels already are what consumers want: 32-bit words of blue, green, red and
  // anything.
  bool isBgra() const;
};

// Why pictures of this layout cannot be made; absent when they can.
std::optional<Error> whyUnsupported(const PixelLayout& layout);

// Turns rows of a supported layout into 32-bit BGRA rows. Immutable once made; any thread.
class PixelConverter {
 public:
  explicit PixelConverter(const PixelLayout& layout);

  // `from` and `to` may not overlap.
  void convertRow(const uint8_t* from, uint8_t* to, int width) const;

 private:
  // One colour of a pixel: `levels` turns its topmost bits, at most eight, into 0 to 255.
  struct Channel {
    int shift = 0;
    uint32_t mask = 0;
    std::array<uint8_t, 256> levels{};

    Channel() = default;
    explicit Channel(uint32_t pixelMask);
    uint32_t level(uint32_t pixel) const { return levels[(pixel >> shift) & mask]; }
  };

  uint32_t toBgra(uint32_t pixel) const;

  int bytesPerPixel_;
  Channel red_;
  Channel green_;
  Channel blue_;
  std::vector<uint32_t> words_;  // the answer for every 16-bit pixel; empty for wider ones
};

}  // namespace tovalin
