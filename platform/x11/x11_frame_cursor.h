#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/x11/x11_frame_bands.h"

namespace tovalin {

// What the pointer looks like: rows of 32-bit words, alpha in the topmost byte, colours
// multiplied by it.
struct CursorShape {
  int width = 0;
  int height = 0;
  int hotX = 0;
  int hotY = 0;
  std::vector<uint32_t> pixels;
};

// A cursor in its place on a picture: `left` and `top` are those of its image and may lie outside.
struct PlacedCursor {
  std::shared_ptr<const CursorShape> shape;  // null: none is to be seen
  int left = 0;
  int top = 0;

  bool operator==(const PlacedCursor&) const = default;
};

// A picture's pixels, writable; or those of some rows of it.
struct PixelCanvas {
  uint8_t* data = nullptr;
  int stride = 0;
  int width = 0;
  int height = 0;
  int firstRow = 0;  // the picture's row that `data` begins with

  uint8_t* at(int x, int y) const {
    return data + static_cast<ptrdiff_t>(y - firstRow) * stride + static_cast<ptrdiff_t>(x) * 4;
  }
};

// The pixels that a cursor covers on one picture, kept so that the picture can be had back
// without asking the server again: a moving pointer alone then costs no transfer of pixels.
class CoveredPixels {
 public:
  // Draws the cursor, clipped, and keeps what was there. Nothing may be kept already.
  void drawOver(const PixelCanvas& canvas, const PlacedCursor& cursor);
  // Puts the kept pixels back and forgets them.
  void restore(const PixelCanvas& canvas);
  void forget() { height_ = 0; }

  // Compares a row of `canvas`, as it was without the cursor, with the same row of `other`.
  bool rowEquals(const PixelCanvas& canvas, const PixelCanvas& other, int row) const;

 private:
  int left_ = 0;
  int top_ = 0;
  int width_ = 0;
  int height_ = 0;
  std::vector<uint32_t> pixels_;
};

// The rows of `canvas` that the cursor touches; an empty band when none.
RowBand rowsOf(const PlacedCursor& cursor, int canvasWidth, int canvasHeight);

}  // namespace tovalin
