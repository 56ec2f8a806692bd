#include "platform/x11/x11_frame_bands.h"

#include <algorithm>

namespace tovalin {

RowBand commonRows(RowBand a, RowBand b) {
  return {std::max(a.top, b.top), std::min(a.bottom, b.bottom)};
}

void BandSet::add(RowBand band) {
  if (band.bottom <= band.top) return;
  const auto first = std::lower_bound(bands_.begin(), bands_.end(), band.top,
                                      [](RowBand have, int top) { return have.bottom < top; });
  auto last = first;
  for (; last != bands_.end() && last->top <= band.bottom; ++last) {
    band.top = std::min(band.top, last->top);
    band.bottom = std::max(band.bottom, last->bottom);
  }
  if (first == last) {
    bands_.insert(first, band);
  } else {
    *first = band;
    bands_.erase(first + 1, last);
  }
}

void BandSet::add(const BandSet& other) {
  for (const RowBand band : other.bands_) add(band);
}

void BandSet::remove(RowBand band) {
  if (band.bottom <= band.top) return;
  std::vector<RowBand> left;
  left.reserve(bands_.size() + 1);
  for (const RowBand have : bands_) {
    const RowBand above{have.top, std::min(have.bottom, band.top)};
    const RowBand below{std::max(have.top, band.bottom), have.bottom};
    if (above.top < above.bottom) left.push_back(above);
    if (below.top < below.bottom) left.push_back(below);
  }
  bands_ = std::move(left);
}

int BandSet::rows() const {
  int count = 0;
  for (const RowBand band : bands_) count += band.bottom - band.top;
  return count;
}

BandSet BandSet::withGapsClosed(int rows) const {
  BandSet closed;
  for (const RowBand band : bands_) {
    if (!closed.bands_.empty() && band.top - closed.bands_.back().bottom <= rows) {
      closed.bands_.back().bottom = band.bottom;
    } else {
      closed.bands_.push_back(band);
    }
  }
  return closed;
}

}  // namespace tovalin
