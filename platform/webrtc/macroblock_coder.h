#pragma once

#include "platform/webrtc/require_checks.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/webrtc/block_move.h"

namespace tovalin {

// The pixels of a macroblock, row by row: its brightness, then either colour.
struct MacroblockPixels {
  static constexpr int kColour = kBlock / 2;

  std::array<uint8_t, kBlock * kBlock> y;
  std::array<uint8_t, kColour * kColour> u;
  std::array<uint8_t, kColour * kColour> v;
};

// What a decoder adds to its prediction of a macroblock: quantised coefficients of 4x4 blocks, each
// in VP8's zigzag order, as far as the last that is not 0.
struct MacroblockLevels {
  // In the order in which they are coded: the one that the first coefficients of brightness make,
  // 16 of brightness without those, 4 of either colour.
  static constexpr std::size_t kBlocks = 25;
  static constexpr std::size_t kBrightness = 1;
  static constexpr std::size_t kColour = 17;
  static constexpr std::size_t kCoefficients = 16;

  // Those of all blocks, one after the other; of brightness the first one is there as well, as 0.
  std::array<int16_t, kBlocks * kCoefficients> levels;
  // How many of them are each block's.
  std::array<uint8_t, kBlocks> ends;
  uint16_t count = 0;  // of all blocks
  uint16_t set = 0;    // of these not 0
};

// How far apart the levels are.
enum class Fineness {
  sketch,  // very, and only what is 8 pixels wide or wider is coded at all
  quick,   // the finest that the library lets its encoders have
  fine     // half of that, which nobody sees but on a second look
};

// The transforms and the quantisers of VP8 (RFC 6386, 14).
class MacroblockCoder {
 public:
  // Of 0 to 127.
  static constexpr unsigned quantizer(Fineness fineness) {
    switch (fineness) {
      case Fineness::sketch:
        return 40;
      case Fineness::quick:
        return 15;
      case Fineness::fine:
        break;
    }
    return 4;
  }

  // What is to be added to `predicted`, which becomes what a decoder makes of it, to the bit.
  static void code(const MacroblockPixels& source, Fineness fineness, MacroblockPixels& predicted,
                   MacroblockLevels& levels);
};

}  // namespace tovalin
