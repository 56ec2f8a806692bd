#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/coefficient_coder.h"
#include "platform/webrtc/macroblock_coder.h"
#include "platform/webrtc/picture_prints.h"
#include "platform/webrtc/reference_picture.h"

namespace tovalin {

// Brings a part of the last picture up to date: for changes so small that an encoder's work on the
// rest of the picture would take most of the time, and for the first picture, of which anything is
// better than nothing. Keeps its memory from one patch to the next. Not thread-safe.
class PicturePatch {
 public:
  // More macroblocks are an encoder's business, which knows more ways to predict them, unless there
  // is nothing to predict them from; that many take 0.6 MB here. What a first patch takes beyond it
  // is given back with the next one.
  static constexpr std::size_t kMostBlocks = 1024;

  // What is to be patched.
  struct Order {
    RowBand rows;
    const std::vector<uint8_t>* blocks = nullptr;  // not null: only those that have a 1 in it
    Fineness fineness = Fineness::quick;
    std::size_t bytes = 0;  // that it may take, about
    bool inParts = false;   // rather its beginning than nothing
    // There is nothing of the picture yet: it may have any number of macroblocks, and a sketch of
    // it any number of bytes.
    bool first = false;
  };

  // Makes `reference`, which is there, look like `picture`. The rows that do then, which may have
  // done before; nothing, and nothing has changed, if it takes too much.
  std::optional<RowBand> code(const I420View& picture, const Order& order,
                              ReferencePicture& reference);

  // What it takes, in rising order.
  std::span<const CodedMacroblock> blocks() const { return blocks_; }

 private:
  void beginAnew(const Order& order);
  bool codeBlock(const I420View& picture, int row, int column, Fineness fineness,
                 ReferencePicture& reference);
  void undo(std::size_t from, ReferencePicture& reference);

  std::vector<CodedMacroblock> blocks_;
  std::vector<MacroblockPixels> before_;  // of each of them, if they may be undone
  std::vector<int16_t> levels_;           // of all of them
  bool mayBeUndone_ = true;
  std::size_t most_ = 0;        // blocks that there may be
  std::size_t levelsLeft_ = 0;  // that there is room for
};

}  // namespace tovalin
