#pragma once

#include "platform/webrtc/require_checks.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/webrtc/bool_encoder.h"
#include "platform/webrtc/macroblock_coder.h"

namespace tovalin {

// A macroblock that differs from what it is predicted from.
struct CodedMacroblock {
  std::size_t index = 0;  // row by row
  bool flat = false;      // predicted from the pixels around it, and not from the last picture
  // As MacroblockLevels has them. Of a macroblock without any there are none.
  std::span<const int16_t> levels;
  std::array<uint8_t, MacroblockLevels::kBlocks> ends;
};

// Codes the coefficients of a frame's macroblocks (RFC 6386, 13), with the probabilities that suit
// them best, since those that the decoder has by then are not known. Keeps its memory from one
// frame to the next. Not thread-safe.
class CoefficientCoder {
 public:
  // Of macroblocks in rising order, `columns` of them to a row; those between them have none.
  void count(std::span<const CodedMacroblock> blocks, std::size_t columns);
  // The probabilities that count() has found, for the frame's header.
  void putProbabilities(BoolEncoder& to) const;
  // The coefficients themselves, after putProbabilities(): of the same macroblocks.
  void put(std::span<const CodedMacroblock> blocks, std::size_t columns, BoolEncoder& to);

 private:
  static constexpr std::size_t kTypes = 4;     // of blocks
  static constexpr std::size_t kBands = 8;     // of places in the zigzag
  static constexpr std::size_t kContexts = 3;  // of what is around or came before
  static constexpr std::size_t kNodes = 11;    // of the tree of tokens
  static constexpr std::size_t kProbabilities = kTypes * kBands * kContexts * kNodes;

  // Whether the blocks at one edge of a macroblock have coefficients: 4 of brightness, 2 of either
  // colour, and that of the second order.
  using Edge = std::array<uint8_t, 9>;

  // Tells `sink` all decisions in their order: which of the tree's, or with a fixed probability.
  template <typename Sink>
  void walk(std::span<const CodedMacroblock> blocks, std::size_t columns, Sink&& sink);
  template <typename Sink>
  static void walkMacroblock(const CodedMacroblock& block, Edge& above, Edge& left, Sink&& sink);
  template <typename Sink>
  static bool walkBlock(std::size_t type, std::span<const int16_t> levels, std::size_t context,
                        Sink&& sink);
  template <typename Sink>
  static void walkLevel(std::size_t node, int level, Sink&& sink);

  struct Count {
    uint32_t zeros = 0;
    uint32_t ones = 0;
  };
  std::array<Count, kProbabilities> counts_{};
  std::array<Probability, kProbabilities> probabilities_{};
  std::vector<Edge> above_;            // by column
  std::vector<std::size_t> aboveRow_;  // of which row
};

}  // namespace tovalin
