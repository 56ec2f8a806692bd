#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/block_move.h"

namespace tovalin {

// A picture in I420 that somebody else keeps.
struct I420View {
  int width = 0;
  int height = 0;
  const uint8_t* y = nullptr;
  const uint8_t* u = nullptr;
  const uint8_t* v = nullptr;
  int strideY = 0;
  int strideU = 0;
  int strideV = 0;
};

// A number for each row of each macroblock of a picture, of its brightness, and one for each row of
// its colours, which are half as many. Rows with different numbers are different; two different
// rows have the same number once in four thousand million times. A sixth of the picture's memory.
// Not thread-safe.
class PicturePrints {
 public:
  using Print = uint32_t;

  // Forgets the picture and makes room for one of this size.
  void resize(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  int columns() const { return columns_; }  // of macroblocks
  int colourRows() const { return (height_ + 1) / 2; }

  // From a picture of this size; `rows` is widened to whole rows of colours.
  void read(const I420View& picture, RowBand rows);
  void copy(const PicturePrints& other, RowBand rows);
  // What read() would find after the move. Colours that lie between two rows become unknown unless
  // the rows are alike.
  void move(const BlockMove& move);

  // By macroblock.
  const Print* brightness(int row) const { return &brightness_[at(row)]; }
  const Print* colour(int row) const { return &colour_[at(row)]; }

  // The row of colours that VP8 shows where the brightness comes from `from` rows further down: if
  // that is odd it is mixed of two, and not known, 0, where they differ. `to` has columns()
  // entries.
  void movedColour(int row, int from, Print* to) const;

 private:
  std::size_t at(int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_);
  }

  int width_ = 0;
  int height_ = 0;
  int columns_ = 0;
  std::vector<Print> brightness_;
  std::vector<Print> colour_;
  std::vector<Print> moved_;  // kept, so that a move needs no allocation
};

}  // namespace tovalin
