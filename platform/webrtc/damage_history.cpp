#include "platform/webrtc/damage_history.h"

#include <algorithm>
#include <span>

namespace tovalin {
namespace {

std::vector<RowBand> aligned(std::span<const RowBand> damage, int height) {
  std::vector<RowBand> bands;
  for (const RowBand& band : damage) {
    const int top = std::clamp(band.top, 0, height) & ~1;
    const int bottom = std::min((std::clamp(band.bottom, 0, height) + 1) & ~1, height);
    if (top < bottom) bands.push_back({top, bottom});
  }
  return bands;
}

std::vector<RowBand> merged(std::vector<RowBand> bands) {
  std::ranges::sort(bands, {}, &RowBand::top);
  std::vector<RowBand> result;
  for (const RowBand& band : bands) {
    if (!result.empty() && band.top <= result.back().bottom) {
      result.back().bottom = std::max(result.back().bottom, band.bottom);
    } else {
      result.push_back(band);
    }
  }
  return result;
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
    damage_.clear();
    return Continuity::otherStream;
  }
  if (number == newest_ + 1) {
    damage_.push_front(aligned(picture.damage(), height_));
    if (damage_.size() > kPictures) damage_.pop_back();
  } else if (number > newest_) {
    damage_.clear();
  }
  newest_ = std::max(newest_, number);
  return Continuity::sameStream;
}

std::optional<std::vector<RowBand>> DamageHistory::since(uint64_t number) const {
  if (number > newest_ || newest_ - number > damage_.size()) return std::nullopt;
  std::vector<RowBand> all;
  for (size_t i = 0; i < newest_ - number; ++i) {
    all.insert(all.end(), damage_[i].begin(), damage_[i].end());
  }
  return merged(std::move(all));
}

}  // namespace tovalin
