#include "platform/x11/x11_frame_cursor.h"

#include <algorithm>
#include <cstring>

namespace tovalin {
namespace {

// Two channels at a time; adding an eighth bit's worth before the shift makes 255 * 255 come out
// as 255, so that what is opaque or clear stays exact.
uint32_t blend(uint32_t over, uint32_t under) {
  const uint32_t rest = 255 - (over >> 24);
  const auto scaled = [rest](uint32_t pair) {
    const uint32_t product = pair * rest + 0x00800080U;
    return ((product + ((product >> 8) & 0x00ff00ffU)) >> 8) & 0x00ff00ffU;
  };
  return over + scaled(under & 0x00ff00ffU) + (scaled((under >> 8) & 0x00ff00ffU) << 8);
}

struct Rectangle {
  int left, top, right, bottom;
  bool empty() const { return right <= left || bottom <= top; }
};

Rectangle clipped(const PlacedCursor& cursor, int width, int height) {
  if (cursor.shape == nullptr) return {0, 0, 0, 0};
  return {std::max(cursor.left, 0), std::max(cursor.top, 0),
          std::min(cursor.left + cursor.shape->width, width),
          std::min(cursor.top + cursor.shape->height, height)};
}

}  // namespace

RowBand rowsOf(const PlacedCursor& cursor, int canvasWidth, int canvasHeight) {
  const Rectangle area = clipped(cursor, canvasWidth, canvasHeight);
  return area.empty() ? RowBand{} : RowBand{area.top, area.bottom};
}

void CoveredPixels::drawOver(const PixelCanvas& canvas, const PlacedCursor& cursor) {
  const Rectangle area = clipped(cursor, canvas.width, canvas.height);
  if (area.empty()) return;
  left_ = area.left;
  top_ = area.top;
  width_ = area.right - area.left;
  height_ = area.bottom - area.top;
  pixels_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_));
  uint32_t* kept = pixels_.data();
  for (int y = area.top; y < area.bottom; ++y) {
    const uint32_t* over = cursor.shape->pixels.data() +
                           static_cast<ptrdiff_t>(y - cursor.top) * cursor.shape->width +
                           (area.left - cursor.left);
    uint8_t* pixel = canvas.at(area.left, y);
    for (int column = 0; column < width_; ++column, ++kept, pixel += 4) {
      std::memcpy(kept, pixel, sizeof *kept);
      const uint32_t mixed = blend(over[column], *kept);
      std::memcpy(pixel, &mixed, sizeof mixed);
    }
  }
}

void CoveredPixels::restore(const PixelCanvas& canvas) {
  const size_t bytes = static_cast<size_t>(width_) * 4;
  for (int row = 0; row < height_; ++row) {
    std::memcpy(canvas.at(left_, top_ + row), pixels_.data() + static_cast<ptrdiff_t>(row) * width_,
                bytes);
  }
  forget();
}

bool CoveredPixels::rowEquals(const PixelCanvas& canvas, const PixelCanvas& other, int row) const {
  const auto same = [&](int from, int to) {
    return std::memcmp(canvas.at(from, row), other.at(from, row),
                       static_cast<size_t>(to - from) * 4) == 0;
  };
  if (row < top_ || row >= top_ + height_) return same(0, canvas.width);
  const int right = left_ + width_;
  return same(0, left_) && same(right, canvas.width) &&
         std::memcmp(pixels_.data() + static_cast<ptrdiff_t>(row - top_) * width_,
                     other.at(left_, row), static_cast<size_t>(width_) * 4) == 0;
}

}  // namespace tovalin
