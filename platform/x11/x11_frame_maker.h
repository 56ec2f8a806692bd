#pragma once

#include <memory>
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
//
// A buffer is taken only when there is a picture to deliver in it: what stood there before may be
// the newest picture, whose pixels are then gone for everybody who has not seen them.
class FrameMaker {
 public:
  enum class Fetched { yes, nothingNew, noBufferFree };

  FrameMaker(FrameGrabber& grabber, PointerWatch& pointer, FramePool& pool, int width, int height);

  // Compares the screen with the newest picture, but for the rows that are `known` to have changed:
  // the other rows that differ. Takes no buffer. Blocks for a round trip every few rows.
  std::variant<BandSet, Error> differences(const BandSet& known);

  // Brings a free buffer up to date. `changed` are the rows that were drawn on since the picture
  // before; when there are none and the pointer has not changed either, nothing is new. With
  // `byComparing` the changes were found that way, and what nobody reports may have changed once
  // more: the fetched rows are compared too. Blocks for a round trip or two. Unless a buffer was
  // brought up to date, nothing has happened.
  std::variant<Fetched, Error> fetch(const BandSet& changed, bool byComparing);

  // Rows reported as drawn by an event with this number: returns those that are not in the
  // pixels fetched last.
  BandSet absorb(RowBand rows, unsigned sequence);

  // The picture, after a fetch that brought a buffer up to date. Never null.
  PixelBufferRef finish(PictureTimes times);

 private:
  // Those of the rows in which the screen differs from the newest picture.
  void addDiffering(const PixelCanvas& screen, RowBand rows, BandSet& to) const;
  // What the pointer changes on the newest picture.
  BandSet pointerDamage() const;

  FrameGrabber& grabber_;
  PointerWatch& pointer_;
  FramePool& pool_;
  int width_;
  int height_;
  PooledFrame* filling_ = nullptr;  // between `fetch` and `finish`
  std::span<const FetchedBand> fetched_;
  BandSet damage_;                         // of the picture being made
  PooledFrame* newest_ = nullptr;          // the buffer of the picture delivered last
  PlacedCursor shown_;                     // on that picture
  std::shared_ptr<FrameMemory> compared_;  // a few rows of the screen; null until needed
};

}  // namespace tovalin
