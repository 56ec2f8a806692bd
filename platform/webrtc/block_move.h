#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstdint>
#include <vector>

namespace tovalin {

// Rows and columns of a macroblock.
constexpr int kBlock = 16;

constexpr int blocksAlong(int pixels) {
  return (pixels + kBlock - 1) / kBlock;
}

// Macroblocks that show what was elsewhere in the picture before, as when a page scrolls.
struct BlockMove {
  // As far as VP8 can say without a neighbour's help: 10 bits of quarters of a pixel.
  static constexpr int kFarthest = 255;

  // How many rows further down it was, negative for further up; not 0, kFarthest at most either
  // way. All of it was within the picture.
  int from = 0;
  // Of each macroblock, row by row: 1 where it moves, 0 where it stays.
  std::vector<uint8_t> moves;
};

}  // namespace tovalin
