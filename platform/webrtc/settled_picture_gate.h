#pragma once

#include <algorithm>
#include <chrono>

namespace tovalin {

// Decides which repeats of a still picture are worth encoding: every one while they sharpen what
// the viewer sees or bring something that is owed to it, then one a second to keep the video
// alive. Pure arithmetic on the times it is given; no clock of its own. Not thread-safe.
class SettledPictureGate {
 public:
  // On the clock of the pictures.
  using Time = std::chrono::microseconds;

  enum class Verdict { encode, skip };

  // Of two repeats a second every other one is encoded, also when one comes a little early.
  static constexpr Time kRefresh = std::chrono::milliseconds(800);
  // libvpx 1.12 goes on sharpening a still picture once its quantiser has reached the floor: with
  // each picture it refreshes about a twentieth of the blocks, in turns.
  static constexpr int kSharpeningPictures = 24;

  // `changed`: it may differ from the picture before it.
  Verdict judge(Time now, bool changed, bool keyFrameWanted) {
    owed_ |= changed || keyFrameWanted;
    const bool settled = !owed_ && sharpRepeats_ == kSharpeningPictures;
    if (settled && now - encodedAt_ < kRefresh) return Verdict::skip;
    judgedAt_ = now;
    return Verdict::encode;
  }

  // What was last judged worth encoding came out of the encoder. An encoder may also drop it; then
  // this is not called, and what was owed to the viewer still is. `sharp`: as sharp as a single
  // picture gets.
  void encoded(bool sharp) {
    sharpRepeats_ = sharp && !owed_ ? std::min(sharpRepeats_ + 1, kSharpeningPictures) : 0;
    owed_ = false;
    encodedAt_ = judgedAt_;
  }

 private:
  // Whether the viewer has yet to get a change or a key frame.
  bool owed_ = true;
  int sharpRepeats_ = 0;  // in a row
  Time judgedAt_{};
  Time encodedAt_{};
};

}  // namespace tovalin
