#pragma once

#include <algorithm>
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

constexpr bool isEmpty(RowBand band) {
  return band.top >= band.bottom;
}

// The smallest band with all rows of both.
constexpr RowBand united(RowBand a, RowBand b) {
  if (isEmpty(a)) return b;
  if (isEmpty(b)) return a;
  return {std::min(a.top, b.top), std::max(a.bottom, b.bottom)};
}

// Since when there is a picture, in nanoseconds of the monotonic clock; 0 where it is not known.
struct PictureTimes {
  int64_t noticed = 0;  // the first of the changes that it shows was reported
  int64_t taken = 0;    // its pixels were asked for
};

// One captured picture: 32-bit BGRA, rows from top to bottom, alpha meaningless. Immutable once
// delivered; whoever holds a reference may read it on any thread, under a PixelLease. Releasing the
// last reference returns the memory to its pool, and so does giving the pixels up before that.
class PixelBuffer {
 public:
  virtual ~PixelBuffer() = default;

  virtual int width() const = 0;
  virtual int height() const = 0;
  // Bytes from one row to the next; at least 4 * width.
  virtual int stride() const = 0;
  // Read only under a PixelLease, unless it is certain that nobody gives the pixels up.
  virtual const uint8_t* data() const = 0;

  // Identifies the picture within its stream, for consumers that keep a converted copy up to
  // date: numbers rise by one with each new picture, and `damage` lists the rows that may differ
  // from the picture one number before. The stream's identity changes on every start; across
  // streams, and across gaps in the numbers, everything may differ.
  virtual uint64_t streamIdentity() const = 0;
  virtual uint64_t pictureNumber() const = 0;
  virtual std::span<const RowBand> damage() const = 0;

  virtual PictureTimes times() const { return {}; }

  // A consumer that has its own copy gives the pixels up, for all consumers: their memory may go to
  // a newer picture from now on, whenever capture needs it. Capture takes it back only to deliver
  // such a picture, or ends with an error. Any thread, any number of times.
  virtual void giveUp() const {}

 protected:
  friend class PixelLease;
  // `pin` fails once the memory has been taken back, and else keeps it until `unpin`. Any thread.
  virtual bool pin() const { return true; }
  virtual void unpin() const {}
};

// Permission to read a picture's pixels: while it lives they stay what they are. It must not
// outlive the reference to the picture, and be short, because capture may wait for the memory.
// False when the memory has been taken back; a newer picture is then on its way.
class PixelLease {
 public:
  explicit PixelLease(const PixelBuffer& picture) : picture_(picture.pin() ? &picture : nullptr) {}
  ~PixelLease() {
    if (picture_ != nullptr) picture_->unpin();
  }
  PixelLease(const PixelLease&) = delete;
  PixelLease& operator=(const PixelLease&) = delete;

  explicit operator bool() const { return picture_ != nullptr; }

 private:
  const PixelBuffer* picture_;
};

using PixelBufferRef = std::shared_ptr<const PixelBuffer>;

}  // namespace tovalin
