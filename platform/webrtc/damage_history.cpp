#include "platform/webrtc/damage_history.h"

#include <algorithm>
#include <span>

namespace tovalin {
namespace {

void align(std::span<const RowBand> damage, int height, std::vector<RowBand>& bands) {
  bands.clear();
  for (const RowBand& band : damage) {
    const int top = std::clamp(band.top, 0, height) & ~1;
    const int bottom = std::min((std::clamp(band.bottom, 0, height) + 1) & ~1, height);
    if (top < bottom) bands.push_back({top, bottom});
  }
}

void merge(std::vector<RowBand>& bands) {
  std::ranges::sort(bands, {}, &RowBand::top);
  size_t kept = 0;
  for (const RowBand& band : bands) {
    if (kept > 0 && band.top <= bands[kept - 1].bottom) {
      bands[kept - 1].bottom = std::max(bands[kept - 1].bottom, band.bottom);
    } else {
      bands[kept++] = band;
    }
  }
  bands.resize(kept);
}

}  // namespace

DamageHistory::Continuity DamageHistory::note(const PixelBuffer& picture) {
  const uint64_t number = picture.pictureNumber();
  const bool sameStream = started_ && picture.streamIdentity() == stream_ &&
                          picture.width() == width_ && picture.height() == height_;
  if (!sameStream) {
    started_ = true;
    stream_ = picture.streamIdentity();
    width_ = picture.width();
    height_ = picture.height();
    newest_ = number;
    remembered_ = 0;
    return Continuity::otherStream;
  }
  if (number == newest_ + 1) {
    align(picture.damage(), height_, damage_[number % kPictures]);
    remembered_ = std::min(remembered_ + 1, kPictures);
  } else if (number > newest_) {
    remembered_ = 0;
  }
  newest_ = std::max(newest_, number);
  return Continuity::sameStream;
}

bool DamageHistory::since(uint64_t number, std::vector<RowBand>& bands) const {
  bands.clear();
  if (number > newest_ || newest_ - number > remembered_) return false;
  for (uint64_t next = number + 1; next <= newest_; ++next) {
    const auto& damage = damage_[next % kPictures];
    bands.insert(bands.end(), damage.begin(), damage.end());
  }
  merge(bands);
  return true;
}

}  // namespace tovalin
