#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace tovalin {

// How thoroughly the encoder looks for what has moved, by whether it keeps to the bitrate. Pure
// arithmetic; not thread-safe.
//
// At the speed that is right where nothing is dropped, libvpx finds text that has scrolled by a
// line and no further. On a narrow line it drops a picture, the text has then moved by two, the
// next picture takes three times the bytes, and more are dropped: scrolling text settled at one or
// two pictures a second of 130 kB. A thorough search brings the second line's picture back to the
// size of the first's (kB a picture at 5 Mbit/s, by lines scrolled in between):
//
//   lines        1    2    3    5    8     ms a picture
//   speed 6     15   50   65  123  127     20 to 45
//   speed 4     11   23   46   74  128     25 to 70
//   speed 2      9   15   21   35   57     50 to 140
//
// Pictures are few there, so that the processor has the time. A wide line, where a drop is the
// exception, is not worth it.
class SearchEffort {
 public:
  // After so many pictures without a drop one step less will do.
  static constexpr int kCalm = 60;

  // In kbit/s: on a line with as much, scrolling text fits at any speed.
  static constexpr unsigned kWide = 10'000;

  // What the line carries, in kbit/s.
  void carries(unsigned kbps) { wide_ = kbps >= kWide; }

  // A picture is given to the encoder.
  void given() {
    if (pending_) {
      step_ = std::min(step_ + 1, static_cast<int>(kSlower.size()) - 1);
      calm_ = 0;
    } else if (++calm_ >= kCalm) {
      step_ = std::max(step_ - 1, 0);
      calm_ = 0;
    }
    pending_ = true;
  }
  // It came out; else it was dropped.
  void cameOut() { pending_ = false; }

  // What to take off the speed that the encoder would have.
  int slower() const { return wide_ ? 0 : kSlower[static_cast<std::size_t>(step_)]; }

 private:
  static constexpr std::array<int, 3> kSlower{0, 2, 4};

  int step_ = 0;
  int calm_ = 0;
  bool pending_ = false;
  bool wide_ = false;
};

}  // namespace tovalin
