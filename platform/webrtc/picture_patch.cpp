#include "platform/webrtc/picture_patch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tovalin {
namespace {

using Planes = std::array<ReferencePicture::Plane, 3>;

uint8_t* pixelsAt(const ReferencePicture::Plane& plane, int row, int column) {
  return plane.pixels + static_cast<std::ptrdiff_t>(row * plane.block) * plane.stride +
         column * plane.block;
}

template <typename Copy>
void eachPlane(MacroblockPixels& pixels, Copy&& copy) {
  copy(0, pixels.y.data());
  copy(1, pixels.u.data());
  copy(2, pixels.v.data());
}

void read(const Planes& planes, int row, int column, MacroblockPixels& to) {
  eachPlane(to, [&](std::size_t i, uint8_t* pixels) {
    const auto& plane = planes[i];
    const uint8_t* from = pixelsAt(plane, row, column);
    for (int y = 0; y < plane.block; ++y) {
      std::memcpy(pixels + y * plane.block, from + static_cast<std::ptrdiff_t>(y) * plane.stride,
                  static_cast<std::size_t>(plane.block));
    }
  });
}

void write(MacroblockPixels& from, int row, int column, const Planes& planes) {
  eachPlane(from, [&](std::size_t i, const uint8_t* pixels) {
    const auto& plane = planes[i];
    uint8_t* to = pixelsAt(plane, row, column);
    for (int y = 0; y < plane.block; ++y) {
      std::memcpy(to + static_cast<std::ptrdiff_t>(y) * plane.stride, pixels + y * plane.block,
                  static_cast<std::size_t>(plane.block));
    }
  });
}

// With the picture's last pixels beyond its edges.
void read(const I420View& picture, int row, int column, MacroblockPixels& to) {
  const auto plane = [row, column](const uint8_t* from, int stride, int width, int height,
                                   int block, uint8_t* pixels) {
    const int left = column * block;
    const int inside = std::min(block, width - left);
    for (int y = 0; y < block; ++y) {
      const int line = std::min(row * block + y, height - 1);
      const uint8_t* start = from + static_cast<std::ptrdiff_t>(line) * stride + left;
      std::memcpy(pixels, start, static_cast<std::size_t>(inside));
      std::memset(pixels + inside, start[inside - 1], static_cast<std::size_t>(block - inside));
      pixels += block;
    }
  };
  const int width = (picture.width + 1) / 2;
  const int height = (picture.height + 1) / 2;
  plane(picture.y, picture.strideY, picture.width, picture.height, kBlock, to.y.data());
  plane(picture.u, picture.strideU, width, height, kBlock / 2, to.u.data());
  plane(picture.v, picture.strideV, width, height, kBlock / 2, to.v.data());
}

// RFC 6386, 12.2: the average of the pixels above and to the left, of those that there are.
void fillFlat(const Planes& planes, int row, int column, MacroblockPixels& to) {
  eachPlane(to, [&](std::size_t i, uint8_t* pixels) {
    const auto& plane = planes[i];
    const uint8_t* corner = pixelsAt(plane, row, column);
    int sum = 0;
    int count = 0;
    for (int at = 0; at < plane.block; ++at) {
      if (row > 0) sum += corner[at - plane.stride];
      if (column > 0) sum += corner[static_cast<std::ptrdiff_t>(at) * plane.stride - 1];
    }
    count = (row > 0 ? plane.block : 0) + (column > 0 ? plane.block : 0);
    constexpr int kMiddle = 128;
    const int average = count == 0 ? kMiddle : (sum + count / 2) / count;
    std::memset(pixels, average, static_cast<std::size_t>(plane.block * plane.block));
  });
}

template <std::size_t size>
int distance(const std::array<uint8_t, size>& a, const std::array<uint8_t, size>& b) {
  int sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += std::abs(a[i] - b[i]);
  return sum;
}

int distance(const MacroblockPixels& a, const MacroblockPixels& b) {
  return distance(a.y, b.y) + distance(a.u, b.u) + distance(a.v, b.v);
}

// What a level takes with all that leads to it, in bits, on text.
constexpr std::size_t kBitsPerLevel = 7;

}  // namespace

std::optional<RowBand> PicturePatch::code(const I420View& picture, const Order& order,
                                          ReferencePicture& reference) {
  beginAnew(order);
  RowBand done = order.rows;
  const int columns = blocksAlong(picture.width);
  const int first = std::max(order.rows.top, 0) / kBlock;
  const int end = blocksAlong(std::min(order.rows.bottom, picture.height));
  const auto codeRow = [&](int row) {
    for (int column = 0; column < columns; ++column) {
      const auto index = static_cast<std::size_t>(row * columns + column);
      if (order.blocks != nullptr && (*order.blocks)[index] == 0) continue;
      if (!codeBlock(picture, row, column, order.fineness, reference)) return false;
    }
    return true;
  };
  for (int row = first; row < end; ++row) {
    const std::size_t before = blocks_.size();
    if (codeRow(row)) continue;
    const bool enough = order.inParts && row > first;
    undo(enough ? before : 0, reference);
    if (!enough) return std::nullopt;
    done.bottom = row * kBlock;
    break;
  }
  const int16_t* levels = levels_.data();
  for (auto& block : blocks_) {
    block.levels = {levels, block.levels.size()};
    levels += block.levels.size();
  }
  if (!blocks_.empty()) reference.hasChanged();
  return done;
}

void PicturePatch::beginAnew(const Order& order) {
  if (!order.first && blocks_.capacity() > kMostBlocks) {
    blocks_ = {};
    before_ = {};
    levels_ = {};
  }
  blocks_.clear();
  before_.clear();
  levels_.clear();
  mayBeUndone_ = !order.first || order.fineness != Fineness::sketch;
  most_ = order.first ? blocks_.max_size() : kMostBlocks;
  levelsLeft_ = order.bytes * 8 / kBitsPerLevel;
}

// False if there is no room for it.
bool PicturePatch::codeBlock(const I420View& picture, int row, int column, Fineness fineness,
                             ReferencePicture& reference) {
  const Planes& planes = reference.planes();
  MacroblockPixels source;
  MacroblockPixels result;
  read(picture, row, column, source);
  read(planes, row, column, result);
  const int changed = distance(source, result);
  if (changed == 0) return true;
  if (blocks_.size() == most_) return false;
  MacroblockPixels flat;
  fillFlat(planes, row, column, flat);
  CodedMacroblock block;
  block.index = static_cast<std::size_t>(row * planes[0].stride / kBlock + column);
  block.flat = distance(source, flat) < changed;
  if (mayBeUndone_) before_.push_back(result);
  if (block.flat) result = flat;
  MacroblockLevels coded;
  MacroblockCoder::code(source, fineness, result, coded);
  if (coded.set == 0 && !block.flat) {
    if (mayBeUndone_) before_.pop_back();
    return true;
  }
  if (mayBeUndone_) {
    if (levelsLeft_ < coded.set) return false;
    levelsLeft_ -= coded.set;
  }
  write(result, row, column, planes);
  block.levels = {coded.levels.data(), coded.count};
  block.ends = coded.ends;
  levels_.insert(levels_.end(), block.levels.begin(), block.levels.end());
  blocks_.push_back(block);
  return true;
}

void PicturePatch::undo(std::size_t from, ReferencePicture& reference) {
  const int columns = reference.planes()[0].stride / kBlock;
  while (blocks_.size() > from) {
    const auto& block = blocks_.back();
    const auto index = static_cast<int>(block.index);
    write(before_[blocks_.size() - 1], index / columns, index % columns, reference.planes());
    levels_.resize(levels_.size() - block.levels.size());
    blocks_.pop_back();
  }
}

}  // namespace tovalin
