#include "platform/x11/x11_pixel_format.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tovalin {
namespace {

constexpr int kTrueColor = 4;

const char* className(int visualClass) {
  constexpr std::array<const char*, 6> kNames = {"static-gray",  "gray-scale", "static-color",
                                                 "pseudo-color", "true-color", "direct-color"};
  const bool known = visualClass >= 0 && visualClass < static_cast<int>(kNames.size());
  return known ? kNames[static_cast<size_t>(visualClass)] : "unknown";
}

}  // namespace

int PixelLayout::stride(int width) const {
  const int padding = std::max(scanlinePad, 8);
  return (width * bitsPerPixel + padding - 1) / padding * padding / 8;
}

bool PixelLayout::isBgra() const {
  return bitsPerPixel == 32 && redMask == 0xff0000 && greenMask == 0xff00 && blueMask == 0xff &&
         visualClass == kTrueColor && !mostSignificantByteFirst;
}

std::optional<Error> whyUnsupported(const PixelLayout& layout) {
  if (layout.mostSignificantByteFirst) {
    return Error{"the X server keeps pixels most significant byte first; only the reverse is read"};
  }
  const bool wholeBytes =
      layout.bitsPerPixel == 16 || layout.bitsPerPixel == 24 || layout.bitsPerPixel == 32;
  const bool masks = layout.redMask != 0 && layout.greenMask != 0 && layout.blueMask != 0;
  if (layout.visualClass != kTrueColor || !wholeBytes || !masks) {
    return Error{"the screen's visual is " + std::to_string(layout.depth) + "-bit " +
                 className(layout.visualClass) + "; 16, 24 or 30 bits of true color are needed"};
  }
  return std::nullopt;
}

PixelConverter::Channel::Channel(uint32_t pixelMask) {
  const int width = std::min(std::popcount(pixelMask), 8);
  shift = std::countr_zero(pixelMask) + std::popcount(pixelMask) - width;
  mask = (1U << width) - 1;
  for (uint32_t value = 0; value <= mask; ++value) {
    levels[value] = static_cast<uint8_t>((value * 255 + mask / 2) / mask);
  }
}

PixelConverter::PixelConverter(const PixelLayout& layout)
    : bytesPerPixel_(layout.bitsPerPixel / 8),
      red_(layout.redMask),
      green_(layout.greenMask),
      blue_(layout.blueMask) {
  if (bytesPerPixel_ != 2) return;
  words_.resize(1U << 16);
  for (uint32_t pixel = 0; pixel < words_.size(); ++pixel) words_[pixel] = toBgra(pixel);
}

uint32_t PixelConverter::toBgra(uint32_t pixel) const {
  return 0xff000000U | red_.level(pixel) << 16 | green_.level(pixel) << 8 | blue_.level(pixel);
}

void PixelConverter::convertRow(const uint8_t* from, uint8_t* to, int width) const {
  for (int column = 0; column < width; ++column, to += 4) {
    uint32_t bgra;
    if (bytesPerPixel_ == 2) {
      uint16_t pixel;
      std::memcpy(&pixel, from, sizeof pixel);
      bgra = words_[pixel];
    } else {
      uint32_t pixel = 0;
      std::memcpy(&pixel, from, static_cast<size_t>(bytesPerPixel_));
      bgra = toBgra(pixel);
    }
    from += bytesPerPixel_;
    std::memcpy(to, &bgra, sizeof bgra);
  }
}

}  // namespace tovalin
