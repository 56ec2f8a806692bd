#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace tovalin {

// A horizontal band of full-width rows, [top, bottom).
struct RowBand {
  int top = 0;
  int bottom = 0;

  bool operator==(const RowBand&) const = default;
};

// Since when there is a picture, in nanoseconds of the monotonic clock; 0 where it is not known.
struct PictureTimes {
  int64_t noticed = 0;  // the first of the changes that it shows was reported
  int64_t taken = 0;    // its pixels were asked for
};

// One captured picture: 32-bit BGRA, rows from top to bottom, alpha meaningless. Immutable once
// delivered; whoever holds a reference may read it on any thread. Releasing the last reference
// returns the memory to its pool.
class PixelBuffer {
 public:
  virtual ~PixelBuffer() = default;

  virtual int width() const = 0;
  virtual int height() const = 0;
  // Bytes from one row to the next; at least 4 * width.
  virtual int stride() const = 0;
  virtual const uint8_t* data() const = 0;

  // Identifies the picture within its stream, for consumers that keep a converted copy up to
  // date: numbers rise by one with each new picture, and `damage` lists the rows that may differ
  // from the picture one number before. The stream's identity changes on every start; across
  // streams, and across gaps in the numbers, everything may differ.
  virtual uint64_t streamIdentity() const = 0;
  virtual uint64_t pictureNumber() const = 0;
  virtual std::span<const RowBand> damage() const = 0;

  virtual PictureTimes times() const { return {}; }
};

using PixelBufferRef = std::shared_ptr<const PixelBuffer>;

}  // namespace tovalin
