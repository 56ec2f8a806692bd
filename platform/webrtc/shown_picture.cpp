#include "platform/webrtc/shown_picture.h"

#include <algorithm>

namespace tovalin {

void ShownPicture::forget() {
  anySent_ = false;
}

void ShownPicture::changes(int width, int height, RowBand rows) {
  if (width != shown_.width() || height != shown_.height()) {
    shown_.resize(width, height);
    next_.resize(width, height);
    anySent_ = false;
  }
  unsent_ = united(unsent_, rows);
  nextRead_ = false;
}

const ScrollSearch::Found* ShownPicture::scrolled(const I420View& next) {
  if (!anySent_ || !ScrollSearch::isWorthIt(unsent_)) return nullptr;
  next_.read(next, unsent_);
  nextRead_ = true;
  return search_.find(shown_, next_, unsent_);
}

void ShownPicture::sent(const I420View& next, int end) {
  if (!anySent_) {
    shown_.read(next, {0, shown_.height()});
    unsent_ = {};
    anySent_ = true;
    return;
  }
  const RowBand rows{unsent_.top, std::min(end, unsent_.bottom)};
  if (nextRead_) {
    shown_.copy(next_, rows);
  } else {
    shown_.read(next, rows);
  }
  unsent_.top = rows.bottom;
  if (isEmpty(unsent_)) unsent_ = {};
}

}  // namespace tovalin
