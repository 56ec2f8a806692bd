#pragma once

#include "platform/webrtc/require_checks.h"

#include "platform/pixel_buffer.h"
#include "platform/webrtc/picture_prints.h"
#include "platform/webrtc/scroll_search.h"

namespace tovalin {

// Remembers what the viewer has been sent, by its prints, and tells what of the next picture is
// there already, elsewhere. Not thread-safe.
class ShownPicture {
 public:
  // What is known is no longer so; nothing is found until the next sent().
  void forget();

  // The next picture is of this size and differs from the one before it, sent or not, in these
  // rows.
  void changes(int width, int height, RowBand rows);

  // In which rows the next picture differs from what the viewer has been sent.
  RowBand unsent() const { return unsent_; }

  // What has scrolled since what was sent; null if nothing has. Good until the next call.
  const ScrollSearch::Found* scrolled(const I420View& next);
  // The viewer has been sent that move.
  void moved(const BlockMove& move) { shown_.move(move); }

  // The viewer has been sent all of this picture: the next one, of which changes() told.
  void sent(const I420View& next) { sent(next, unsent_.bottom); }
  // Only the rows above that one.
  void sent(const I420View& next, int end);

 private:
  PicturePrints shown_;
  PicturePrints next_;
  ScrollSearch search_;
  RowBand unsent_;         // the rows in which the next picture may differ from what is shown
  bool anySent_ = false;   // of this size
  bool nextRead_ = false;  // those rows of the next picture
};

}  // namespace tovalin
