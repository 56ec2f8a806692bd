#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/require_checks.h"

namespace tovalin {

// Which rows changed over the last few pictures of one stream, so that a copy of an older picture
// can be brought up to date. Not thread-safe.
class DamageHistory {
 public:
  // Older copies are cheaper to redo than to remember.
  static constexpr size_t kPictures = 16;

  // What noting a picture means for copies of earlier ones.
  enum class Continuity {
    sameStream,
    otherStream,  // another stream or size: nothing made before is of use
  };

  Continuity note(const PixelBuffer& picture);

  // Number of the newest picture noted; meaningless before the first.
  uint64_t newest() const { return newest_; }

  // Rows that may differ between picture `number` and the newest: sorted, disjoint, inside the
  // picture, each beginning on an even row and ending on one or at the last row, as chroma shared
  // by pairs of rows demands. False when that far back is not remembered; `bands` is then empty.
  // Its memory is used again, so that a picture takes none from the heap.
  bool since(uint64_t number, std::vector<RowBand>& bands) const;

 private:
  bool started_ = false;
  uint64_t stream_ = 0;
  int width_ = 0;
  int height_ = 0;
  uint64_t newest_ = 0;
  size_t remembered_ = 0;                               // pictures, counted back from the newest
  std::array<std::vector<RowBand>, kPictures> damage_;  // by picture number, going round
};

}  // namespace tovalin
