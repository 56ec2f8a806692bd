#pragma once

#include <algorithm>
#include <chrono>

namespace tovalin {

// Decides when a stream may take a picture, owes an idle sample, or checks the whole screen.
// Pure arithmetic on the times it is given; no clock of its own.
class FramePacing {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  // Twice a second is enough to tell a still screen from a stalled capture.
  static constexpr Clock::duration kIdleInterval = std::chrono::milliseconds(500);
  // Some drivers draw without reporting damage. How long such a change may stay unseen beside
  // changes that were reported; a screen on which nothing is reported is never checked.
  static constexpr Clock::duration kCheckInterval = std::chrono::seconds(4);

  // A press follows the motion that led to it at once, and what it changes on the screen is a
  // moment behind. A picture of the motion alone would keep the answer to the press waiting for the
  // next.
  static constexpr Clock::duration kPointerPatience = std::chrono::milliseconds(4);

  FramePacing(Clock::duration minimumFrameInterval, Time now)
      : frameInterval_(minimumFrameInterval), nextFrame_(now), nextIdle_(now + kIdleInterval) {}

  // The earliest time for the next picture: long past after a pause, so that the first change
  // goes at once.
  Time frameDue() const { return nextFrame_; }
  // The time at which an idle sample is owed, unless another sample comes before it.
  Time idleDue() const { return nextIdle_; }
  // The time at which the whole screen is to be compared; never, while no damage was reported.
  Time checkDue() const { return checkDue_; }
  // The time from which the pointer is worth a picture of its own; never, while it rests.
  Time pointerDue() const { return pointerDue_; }

  // A picture is being taken now. Counted from its beginning: the rate is then exact however long
  // taking and delivering last.
  void takingPicture(Time now) {
    nextFrame_ = now + frameInterval_;
    pointerDue_ = Time::max();
  }
  // Nothing had changed after all, as with motion on the spot: the next picture need not wait.
  void tookNone() { nextFrame_ -= frameInterval_; }
  void pointerSuspected(Time now) { pointerDue_ = std::min(pointerDue_, now + kPointerPatience); }
  void deliveredSample(Time now) { nextIdle_ = now + kIdleInterval; }
  void damageReported(Time now) { checkDue_ = std::min(checkDue_, now + kCheckInterval); }
  void checkedEverything() { checkDue_ = Time::max(); }

 private:
  Clock::duration frameInterval_;
  Time nextFrame_;
  Time nextIdle_;
  Time checkDue_ = Time::max();
  Time pointerDue_ = Time::max();
};

}  // namespace tovalin
