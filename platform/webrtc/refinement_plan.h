#pragma once

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>
#include <utility>

#include "platform/pixel_buffer.h"

namespace tovalin {

// Decides how much of a picture an encoder has to look at: the rows that changed and those that are
// not yet as sharp as they get. Repeats of a picture that is sharp all over are worth one look a
// second, to keep the video alive. Pure arithmetic on what it is told; no clock of its own. Not
// thread-safe.
class RefinementPlan {
 public:
  // On the clock of the pictures.
  using Time = std::chrono::microseconds;

  // Of two repeats a second every other one is encoded, also when one comes a little early.
  static constexpr Time kRefresh = std::chrono::milliseconds(800);
  // libvpx 1.12 goes on sharpening a still picture once its quantiser has reached the floor: with
  // each picture it refreshes about a twentieth of the blocks, in turns.
  static constexpr int kSharpeningPictures = 24;
  // Of every picture, however high.
  static constexpr RowBand kAllRows{0, std::numeric_limits<int>::max()};

  // The rows of the next picture to encode, possibly none of them; absent to let the picture go by.
  // `changed`: the rows that may differ from the picture before it; an empty band for a repeat.
  std::optional<RowBand> judge(Time now, RowBand changed, bool keyFrameWanted) {
    if (keyFrameWanted) changed = kAllRows;
    if (!isEmpty(changed)) note(changed);
    if (!owed_ && isEmpty(coarse_) && now - encodedAt_ < kRefresh) return std::nullopt;
    judgedAt_ = now;
    judgedAll_ = true;
    return coarse_;
  }

  // As judge(), for a picture of which the viewer has got the move of `moved` already, from `from`
  // rows further down: the rows in which something else is new, at once. What came along unsharp
  // has time until the screen rests.
  RowBand judgeMoved(Time now, RowBand moved, int from, RowBand rest) {
    owed_ = true;
    if (coarse_ != kAllRows) {
      const RowBand arrived{std::max(coarse_.top - from, moved.top),
                            std::min(coarse_.bottom - from, moved.bottom)};
      coarse_ = united(isEmpty(coarse_) ? RowBand{} : united(coarse_, arrived), rest);
    }
    sharpPictures_ = 0;
    changedMeanwhile_ = {};
    judgedAt_ = now;
    judgedAll_ = false;
    return rest;
  }

  // The picture that comes out next is a key frame, wanted or not: nothing of it is sharp yet.
  void keyFrameCame() {
    coarse_ = kAllRows;
    sharpPictures_ = 0;
    changedMeanwhile_ = {};
  }

  // What was last judged worth encoding came out of the encoder. An encoder may also drop it; then
  // this is not called, and what was owed to the viewer still is. `sharp`: as sharp as a single
  // picture gets.
  void encoded(bool sharp) {
    owed_ = false;
    encodedAt_ = judgedAt_;
    sharpPictures_ = sharp && judgedAll_ ? sharpPictures_ + 1 : 0;
    if (sharpPictures_ <= kSharpeningPictures) return;
    // A blinking caret must not keep the rows around it from becoming settled.
    coarse_ = std::exchange(changedMeanwhile_, {});
    sharpPictures_ = 0;
  }

  // Whether the picture is sharp all over.
  bool isSettled() const { return isEmpty(coarse_); }
  // The rows that are not, as far as they are not within those.
  RowBand coarseBeside(RowBand rows) const { return without(coarse_, rows); }

  // In place of encoded(): what changed came out, and these rows so sharp that it is not worth
  // looking at them again.
  void patched(RowBand rows) {
    owed_ = false;
    encodedAt_ = judgedAt_;
    coarse_ = without(coarse_, rows);
    changedMeanwhile_ = without(changedMeanwhile_, rows);
    if (isEmpty(coarse_)) sharpPictures_ = 0;
  }

 private:
  // The smallest band with all rows of the one but those of the other.
  static constexpr RowBand without(RowBand one, RowBand other) {
    if (other.top <= one.top) one.top = std::max(one.top, other.bottom);
    if (other.bottom >= one.bottom) one.bottom = std::min(one.bottom, other.top);
    return isEmpty(one) ? RowBand{} : one;
  }

  void note(RowBand changed) {
    owed_ = true;
    const RowBand all = united(coarse_, changed);
    if (all != coarse_) sharpPictures_ = 0;
    changedMeanwhile_ = sharpPictures_ > 0 ? united(changedMeanwhile_, changed) : RowBand();
    coarse_ = all;
  }

  RowBand coarse_ = kAllRows;
  int sharpPictures_ = 0;     // in a row, since the coarse rows last grew or settled
  RowBand changedMeanwhile_;  // since the first of them
  bool judgedAll_ = true;     // whether the last picture to encode is of all coarse rows
  bool owed_ = true;          // whether the viewer has yet to get a change or a key frame
  Time judgedAt_{};
  Time encodedAt_{};
};

}  // namespace tovalin
