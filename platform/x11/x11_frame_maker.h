#pragma once

#include <span>
#include <variant>

#include "platform/pixel_buffer.h"
#include "platform/x11/x11_capture_pointer.h"
#include "platform/x11/x11_frame_bands.h"
#include "platform/x11/x11_frame_grabber.h"
#include "platform/x11/x11_frame_pool.h"

namespace tovalin {

// Makes one picture after the other: fetches what has changed into a free buffer, draws the cursor
// and states what differs from the picture before. Taking a picture has two halves, so that what
// the server reported in the meantime can be told apart: `fetch`, then `absorb` for every report
// that has arrived, then `finish`. Capture thread alone.
class FrameMaker {
 public:
  enum class Fetched { yes, noBufferFree };

  FrameMaker(FrameGrabber& grabber, PointerWatch& pointer, FramePool& pool, int width, int height);

  // Brings a free buffer up to date. `changed` are the rows that were drawn on since the picture
  // before; with `compareAll`, every row is fetched and compared instead. Blocks for one round
  // trip. When no buffer is free, nothing has happened.
  std::variant<Fetched, Error> fetch(const BandSet& changed, bool compareAll);

  // Rows reported as drawn by an event with this number: returns those that are not in the
  // pixels fetched last.
  BandSet absorb(RowBand rows, unsigned sequence);

  // The picture; null when it would look like the one before.
  PixelBufferRef finish(PictureTimes times);

 private:
  BandSet differingRows(const PooledFrame& frame) const;

  FrameGrabber& grabber_;
  PointerWatch& pointer_;
  FramePool& pool_;
  int width_;
  int height_;
  PooledFrame* filling_ = nullptr;  // between `fetch` and `finish`
  std::span<const FetchedBand> fetched_;
  BandSet damage_;                 // of the picture being made
  PooledFrame* newest_ = nullptr;  // the buffer that was brought up to date last
  PlacedCursor shown_;             // on the picture delivered last
};

}  // namespace tovalin
