#include "platform/webrtc/picture_prints.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tovalin {
namespace {

constexpr int kHalf = kBlock / 2;

// Each step can be undone, so that what differs stays different until the last one keeps the upper
// half. The factors are odd and without a pattern (binary digits of pi).
PicturePrints::Print print(uint64_t first, uint64_t second) {
  constexpr uint64_t kFirst = 0x243F6A8885A308D3;
  constexpr uint64_t kSecond = 0x13198A2E03707345;
  constexpr uint64_t kThird = 0xA4093822299F31D1;
  uint64_t mixed = first * kFirst;
  mixed = ((mixed ^ mixed >> 32) + second) * kSecond;
  mixed = (mixed ^ mixed >> 29) * kThird;
  return static_cast<PicturePrints::Print>(mixed >> 32);
}

uint64_t eight(const uint8_t* bytes) {
  uint64_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

// At the right edge there may be less; what is missing is 0.
uint64_t eightAtMost(const uint8_t* bytes, int there) {
  std::array<uint8_t, 8> padded{};
  std::copy_n(bytes, std::clamp(there, 0, 8), padded.begin());
  return eight(padded.data());
}

}  // namespace

void PicturePrints::resize(int width, int height) {
  width_ = width;
  height_ = height;
  columns_ = blocksAlong(width);
  brightness_.assign(at(height), 0);
  colour_.assign(at(colourRows()), 0);
}

void PicturePrints::read(const I420View& picture, RowBand rows) {
  const int top = std::max(rows.top, 0) / 2;
  const int bottom = (std::min(rows.bottom, height_) + 1) / 2;
  const int whole = width_ / kBlock;
  for (int row = 2 * top; row < std::min(2 * bottom, height_); ++row) {
    const uint8_t* line = picture.y + static_cast<std::ptrdiff_t>(row) * picture.strideY;
    Print* prints = &brightness_[at(row)];
    for (int column = 0; column < whole; ++column, line += kBlock) {
      prints[column] = print(eight(line), eight(line + kHalf));
    }
    if (whole == columns_) continue;
    const int left = width_ - whole * kBlock;
    prints[whole] = print(eightAtMost(line, left), eightAtMost(line + kHalf, left - kHalf));
  }
  const int wholeColours = (width_ + 1) / 2 / kHalf;
  for (int row = top; row < bottom; ++row) {
    const uint8_t* u = picture.u + static_cast<std::ptrdiff_t>(row) * picture.strideU;
    const uint8_t* v = picture.v + static_cast<std::ptrdiff_t>(row) * picture.strideV;
    Print* prints = &colour_[at(row)];
    for (int column = 0; column < wholeColours; ++column, u += kHalf, v += kHalf) {
      prints[column] = print(eight(u), eight(v));
    }
    if (wholeColours == columns_) continue;
    const int left = (width_ + 1) / 2 - wholeColours * kHalf;
    prints[wholeColours] = print(eightAtMost(u, left), eightAtMost(v, left));
  }
}

void PicturePrints::copy(const PicturePrints& other, RowBand rows) {
  const auto copyRows = [](const std::vector<Print>& from, std::vector<Print>& to,
                           std::size_t begin, std::size_t end) {
    std::copy(from.begin() + static_cast<std::ptrdiff_t>(begin),
              from.begin() + static_cast<std::ptrdiff_t>(end),
              to.begin() + static_cast<std::ptrdiff_t>(begin));
  };
  const int top = std::max(rows.top, 0) / 2;
  const int bottom = (std::min(rows.bottom, height_) + 1) / 2;
  if (top >= bottom) return;
  copyRows(other.brightness_, brightness_, at(2 * top), at(std::min(2 * bottom, height_)));
  copyRows(other.colour_, colour_, at(top), at(bottom));
}

void PicturePrints::movedColour(int row, int from, Print* to) const {
  const int above = row + (from >> 1);  // rounded down, for negative numbers as well
  const bool between = from % 2 != 0;
  const Print* upper = colour(above);
  const Print* lower = colour(between ? std::min(above + 1, colourRows() - 1) : above);
  for (int column = 0; column < columns_; ++column) {
    to[column] = upper[column] == lower[column] ? upper[column] : 0;
  }
}

void PicturePrints::move(const BlockMove& move) {
  // In the order in which nothing is overwritten that is still to be moved.
  const bool downwards = move.from > 0;
  const int blockRows = blocksAlong(height_);
  moved_.resize(static_cast<std::size_t>(columns_));
  for (int i = 0; i < blockRows; ++i) {
    const int blockRow = downwards ? i : blockRows - 1 - i;
    const uint8_t* moves = &move.moves[at(blockRow)];
    if (std::find(moves, moves + columns_, 1) == moves + columns_) continue;
    const auto rowsOf = [&](int size, int end, auto each) {
      const int top = blockRow * size;
      const int bottom = std::min(top + size, end);
      for (int row = top; row < bottom; ++row) each(downwards ? row : bottom - 1 - (row - top));
    };
    const auto take = [&](const Print* from, Print* to) {
      for (int column = 0; column < columns_; ++column) {
        to[column] = moves[column] != 0 ? from[column] : to[column];
      }
    };
    rowsOf(kBlock, height_,
           [&](int row) { take(brightness(row + move.from), &brightness_[at(row)]); });
    rowsOf(kHalf, colourRows(), [&](int row) {
      movedColour(row, move.from, moved_.data());
      take(moved_.data(), &colour_[at(row)]);
    });
  }
}

}  // namespace tovalin
