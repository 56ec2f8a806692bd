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
// in VP8's zigzag order.
struct MacroblockLevels {
  // 16 of brightness without their first coefficients, 4 of either colour, and the one that those
  // first coefficients make.
  static constexpr std::size_t kBlocks = 25;
  static constexpr std::size_t kFirstColour = 16;
  static constexpr std::size_t kSecondOrder = 24;
  static constexpr std::size_t kCoefficients = 16;

  std::array<std::array<int16_t, kCoefficients>, kBlocks> levels;
  // Of each block, one more than the place of its last level that is not 0; 0 where all are.
  std::array<uint8_t, kBlocks> ends;
  int set = 0;  // levels that are not 0, of all blocks
};

// How far apart the levels are.
enum class Fineness {
  quick,  // the finest that the library lets its encoders have
  fine    // half of that, which nobody sees but on a second look
};

// The transforms and the quantisers of VP8 (RFC 6386, 14).
class MacroblockCoder {
 public:
  // Of 0 to 127.
  static constexpr unsigned quantizer(Fineness fineness) {
    return fineness == Fineness::quick ? 15 : 4;
  }

  // What is to be added to `predicted`, which becomes what a decoder makes of it, to the bit.
  static void code(const MacroblockPixels& source, Fineness fineness, MacroblockPixels& predicted,
                   MacroblockLevels& levels);
};

}  // namespace tovalin
