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
// rest of the picture would take most of the time.
// Keeps its memory from one patch to the next. Not thread-safe.
class PicturePatch {
 public:
  // More macroblocks are an encoder's business, which knows more ways to predict them; that many
  // take 1.3 MB here.
  static constexpr std::size_t kMostBlocks = 1024;

  // What is to be patched.
  struct Order {
    RowBand rows;
    const std::vector<uint8_t>* blocks = nullptr;  // not null: only those that have a 1 in it
    Fineness fineness = Fineness::quick;
    std::size_t bytes = 0;  // that it may take, about
    bool inParts = false;   // rather its beginning than nothing
  };

  // Makes `reference`, which is there, look like `picture`. The rows that do then, which may have
  // done before; nothing, and nothing has changed, if it takes too much.
  std::optional<RowBand> code(const I420View& picture, const Order& order,
                              ReferencePicture& reference);

  // What it takes, in rising order.
  std::span<const CodedMacroblock> blocks() const { return {blocks_.data(), count_}; }

 private:
  bool codeBlock(const I420View& picture, int row, int column, Fineness fineness,
                 ReferencePicture& reference);
  void undo(std::size_t from, ReferencePicture& reference);

  std::vector<CodedMacroblock> blocks_;
  std::vector<MacroblockPixels> before_;  // of each of them
  std::size_t count_ = 0;                 // of either in use
  std::ptrdiff_t levelsLeft_ = 0;         // that there is room for
};

}  // namespace tovalin
