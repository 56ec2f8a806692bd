#include "platform/x11/x11_frame_maker.h"

#include <utility>

namespace tovalin {
namespace {

// One more request costs as much as this many rows of a 1920 pixel wide screen (4 us, measured).
constexpr int kGapWorthFetching = 16;

}  // namespace

FrameMaker::FrameMaker(FrameGrabber& grabber, PointerWatch& pointer, FramePool& pool, int width,
                       int height)
    : grabber_(grabber), pointer_(pointer), pool_(pool), width_(width), height_(height) {}

std::variant<FrameMaker::Fetched, Error> FrameMaker::fetch(const BandSet& changed,
                                                           bool compareAll) {
  PooledFrame* frame = pool_.take(compareAll ? newest_ : nullptr);
  if (frame == nullptr) return Fetched::noBufferFree;
  pool_.markStale(changed);
  if (compareAll) frame->stale.add({0, height_});
  const BandSet wanted = frame->stale.withGapsClosed(kGapWorthFetching);
  pointer_.ask();
  fetched_ = grabber_.ask(*frame->memory, wanted.bands());
  pointer_.collect();
  if (auto error = grabber_.collect(frame->canvas)) return *std::move(error);
  damage_ = changed;
  filling_ = frame;
  if (newest_ == nullptr) {
    damage_.add({0, height_});
  } else if (compareAll) {
    damage_ = differingRows(*frame);
  }
  return Fetched::yes;
}

BandSet FrameMaker::absorb(RowBand rows, unsigned sequence) {
  BandSet rest(rows);
  for (const FetchedBand& band : fetched_) {
    // Numbers wrap around: the sign of the difference tells which came first.
    if (static_cast<int32_t>(band.sequence - sequence) <= 0) continue;
    const RowBand included = commonRows(band.rows, rows);
    damage_.add(included);
    rest.remove(included);
  }
  return rest;
}

PixelBufferRef FrameMaker::finish(PictureTimes times) {
  PooledFrame& frame = *std::exchange(filling_, nullptr);
  fetched_ = {};
  pool_.markStale(damage_);
  frame.stale.clear();
  newest_ = &frame;

  const PlacedCursor& cursor = pointer_.cursor();
  if (cursor != shown_) {
    damage_.add(rowsOf(shown_, width_, height_));
    damage_.add(rowsOf(cursor, width_, height_));
    shown_ = cursor;
  }
  if (damage_.empty()) return nullptr;
  frame.covered.drawOver(frame.canvas, cursor);
  return pool_.lend(frame, damage_, times);
}

BandSet FrameMaker::differingRows(const PooledFrame& frame) const {
  BandSet rows;
  for (int row = 0; row < height_; ++row) {
    if (!newest_->covered.rowEquals(newest_->canvas, frame.canvas, row)) rows.add({row, row + 1});
  }
  return rows;
}

}  // namespace tovalin
