#include "platform/webrtc/picture_converter.h"

#include <libyuv/convert.h>

#include <algorithm>
#include <cstddef>

namespace tovalin {

void PictureConverter::skip(const PixelBuffer& picture) {
  if (history_.note(picture) == DamageHistory::Continuity::otherStream) copies_.clear();
}

rtc::scoped_refptr<webrtc::I420BufferInterface> PictureConverter::convert(
    const PixelBuffer& picture) {
  skip(picture);
  pixelsGone_ = false;
  const uint64_t number = picture.pictureNumber();
  const auto same = std::ranges::find_if(
      copies_, [number](const Copy& copy) { return copy.filled && copy.number == number; });
  if (same != copies_.end()) return same->buffer;

  ++pictures_;
  Copy* copy = freshestFreeCopy(picture);
  if (copy == nullptr) return nullptr;
  copy->usedAt = pictures_;
  const PixelLease lease(picture);
  pixelsGone_ = !lease;
  if (pixelsGone_) return nullptr;
  if (copy->filled && number == history_.newest() && history_.since(copy->number, bands_)) {
    for (const RowBand& band : bands_) convertRows(picture, *copy->buffer, band);
  } else {
    convertRows(picture, *copy->buffer, {0, picture.height()});
  }
  copy->number = number;
  copy->filled = true;
  const auto converted = copy->buffer;
  dropIdleCopies();
  return converted;
}

RowBand PictureConverter::changedSince(uint64_t number, int height) {
  if (!history_.since(number, bands_)) return {0, height};
  if (bands_.empty()) return {};
  return {bands_.front().top, bands_.back().bottom};
}

void PictureConverter::dropIdleCopies() {
  std::erase_if(copies_, [this](const Copy& copy) {
    return copy.buffer->HasOneRef() && pictures_ - copy.usedAt > kIdlePictures;
  });
}

PictureConverter::Copy* PictureConverter::freshestFreeCopy(const PixelBuffer& picture) {
  Copy* freshest = nullptr;
  for (Copy& copy : copies_) {
    if (!copy.buffer->HasOneRef()) continue;
    if (freshest == nullptr || copy.number > freshest->number) freshest = &copy;
  }
  if (freshest == nullptr && copies_.size() < kCopies) {
    const rtc::scoped_refptr<Buffer> buffer(new Buffer(picture.width(), picture.height()));
    freshest = &copies_.emplace_back(Copy{buffer});
  }
  return freshest;
}

void PictureConverter::convertRows(const PixelBuffer& picture, Buffer& target, RowBand band) {
  const ptrdiff_t top = band.top;
  const ptrdiff_t chromaTop = top / 2;
  // The library names pixel formats by the value of a 32-bit word: BGRA in memory is its "ARGB".
  libyuv::ARGBToI420(picture.data() + top * picture.stride(), picture.stride(),
                     target.MutableDataY() + top * target.StrideY(), target.StrideY(),
                     target.MutableDataU() + chromaTop * target.StrideU(), target.StrideU(),
                     target.MutableDataV() + chromaTop * target.StrideV(), target.StrideV(),
                     picture.width(), band.bottom - band.top);
  rowsConverted_ += band.bottom - band.top;
}

}  // namespace tovalin
