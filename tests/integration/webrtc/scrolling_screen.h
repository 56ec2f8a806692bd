#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "platform/webrtc/picture_prints.h"

namespace tovalin {

// A screen in I420 with something on it that looks like text, parts of which scroll.
class ScrollingScreen {
 public:
  struct Area {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
  };

  ScrollingScreen(int width, int height, unsigned seed = 1)
      : random_(seed), width_(width), height_(height) {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      auto& plane = planes_[i];
      plane.width = i == 0 ? width : (width + 1) / 2;
      plane.height = i == 0 ? height : (height + 1) / 2;
      plane.pixels.assign(static_cast<std::size_t>(plane.width * plane.height), 128);
    }
  }

  // Grey, or of many colours.
  void write(Area area, bool coloured = false) {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      for (int y = of(i, area.top); y < of(i, area.bottom); ++y) {
        for (int x = of(i, area.left); x < of(i, area.right); ++x) {
          if (i == 0) {
            at(i, x, y) = random_() % 4 == 0 ? 30 : 220;
          } else if (coloured) {
            at(i, x, y) = static_cast<uint8_t>(random_());
          }
        }
      }
    }
  }
  void write() { write(all()); }

  // What is in the area comes from `from` rows further down in it, and from nowhere at its end:
  // something new is there. Colours move by half as much, as a desktop's do.
  void scroll(Area area, int from, bool coloured = false) {
    const auto before = planes_;
    write(area, coloured);
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      const int rows = i == 0 ? from : from / 2;
      for (int y = of(i, area.top); y < of(i, area.bottom); ++y) {
        if (y + rows < of(i, area.top) || y + rows >= of(i, area.bottom)) continue;
        for (int x = of(i, area.left); x < of(i, area.right); ++x) {
          at(i, x, y) = before[i].pixels[index(i, x, y + rows)];
        }
      }
    }
  }

  Area all() const { return {0, 0, width_, height_}; }
  RowBand rows() const { return {0, height_}; }
  I420View view() const {
    return {width_,
            height_,
            planes_[0].pixels.data(),
            planes_[1].pixels.data(),
            planes_[2].pixels.data(),
            planes_[0].width,
            planes_[1].width,
            planes_[2].width};
  }

  // What a viewer makes of it that moves those macroblocks.
  ScrollingScreen moved(const BlockMove& move) const {
    ScrollingScreen result = *this;
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      const int block = i == 0 ? kBlock : kBlock / 2;
      const int halves = i == 0 ? 2 * move.from : move.from;
      for (int y = 0; y < planes_[i].height; ++y) {
        for (int x = 0; x < planes_[i].width; ++x) {
          if (!has(move.moves, x / block, y / block)) continue;
          const int above = y + (halves >> 1);
          const int below = above + (halves & 1);
          const int sum = planes_[i].pixels[index(i, x, above)] +
                          planes_[i].pixels[index(i, x, std::min(below, planes_[i].height - 1))];
          result.at(i, x, y) = static_cast<uint8_t>((sum + 1) / 2);
        }
      }
    }
    return result;
  }

  // Whether the pixels of that macroblock are the same.
  bool isAlike(const ScrollingScreen& other, int column, int row) const {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      const int block = i == 0 ? kBlock : kBlock / 2;
      for (int y = row * block; y < std::min((row + 1) * block, planes_[i].height); ++y) {
        for (int x = column * block; x < std::min((column + 1) * block, planes_[i].width); ++x) {
          if (planes_[i].pixels[index(i, x, y)] != other.planes_[i].pixels[index(i, x, y)]) {
            return false;
          }
        }
      }
    }
    return true;
  }

  int columns() const { return blocksAlong(width_); }
  int blockRows() const { return blocksAlong(height_); }
  // Of a list with an entry for each macroblock.
  bool has(const std::vector<uint8_t>& blocks, int column, int row) const {
    return blocks.at(static_cast<std::size_t>(row * columns() + column)) != 0;
  }

 private:
  struct Plane {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
  };

  static int of(std::size_t plane, int pixels) { return plane == 0 ? pixels : (pixels + 1) / 2; }
  std::size_t index(std::size_t plane, int x, int y) const {
    return static_cast<std::size_t>(y * planes_[plane].width + x);
  }
  uint8_t& at(std::size_t plane, int x, int y) { return planes_[plane].pixels[index(plane, x, y)]; }

  std::minstd_rand random_;
  int width_;
  int height_;
  std::array<Plane, 3> planes_;
};

}  // namespace tovalin
