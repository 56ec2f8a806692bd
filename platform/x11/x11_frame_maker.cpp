#include "platform/x11/x11_frame_maker.h"

#include <algorithm>
#include <utility>

namespace tovalin {
namespace {

// One more request costs as much as this many rows of a 1920 pixel wide screen (4 us, measured).
constexpr int kGapWorthFetching = 16;

// Half a megabyte of a 1920 pixel wide screen, which stays in the cache while it is compared, and
// spares a whole second picture.
constexpr int kRowsAtOnce = 64;

}  // namespace

FrameMaker::FrameMaker(FrameGrabber& grabber, PointerWatch& pointer, FramePool& pool, int width,
                       int height)
    : grabber_(grabber), pointer_(pointer), pool_(pool), width_(width), height_(height) {}

std::variant<BandSet, Error> FrameMaker::differences(const BandSet& known) {
  if (newest_ == nullptr) return BandSet();
  BandSet unknown({0, height_});
  for (const RowBand band : known.bands()) unknown.remove(band);
  if (compared_ == nullptr) compared_ = grabber_.allocate(kRowsAtOnce);
  if (compared_ == nullptr) return unknown;
  BandSet different;
  for (const RowBand band : unknown.bands()) {
    for (int top = band.top; top < band.bottom; top += kRowsAtOnce) {
      const RowBand rows{top, std::min(top + kRowsAtOnce, band.bottom)};
      const PixelCanvas screen{compared_->data(), width_ * 4, width_, height_, rows.top};
      grabber_.ask(*compared_, {&rows, 1}, rows.top);
      if (auto error = grabber_.collect(screen)) return *std::move(error);
      addDiffering(screen, rows, different);
    }
  }
  return different;
}

std::variant<FrameMaker::Fetched, Error> FrameMaker::fetch(const BandSet& changed,
                                                           bool byComparing) {
  const bool onlyPointer = newest_ != nullptr && changed.empty();
  if (onlyPointer) {
    pointer_.ask();
    pointer_.collect();
    if (pointerDamage().empty()) return Fetched::nothingNew;
  }
  PooledFrame* frame = pool_.take();
  if (frame == nullptr) return Fetched::noBufferFree;
  pool_.markStale(changed);
  // In the newest picture's own buffer a row of a gap could change with nobody to tell.
  const bool exactly = byComparing && frame == newest_;
  BandSet wanted = frame->stale;
  if (!exactly) {
    // Text that scrolls is reported in pieces, and what was drawn on a moment ago is drawn on again
    // by now: of the newest piece alone a picture would show the screen at two times.
    wanted.add(damage_);
    wanted = wanted.withGapsClosed(kGapWorthFetching);
  }
  if (!onlyPointer) pointer_.ask();
  fetched_ = grabber_.ask(*frame->memory, wanted.bands());
  if (!onlyPointer) pointer_.collect();
  if (auto error = grabber_.collect(frame->canvas)) return *std::move(error);
  damage_ = changed;
  if (newest_ == nullptr) {
    damage_.add({0, height_});
  } else if (byComparing && frame != newest_) {
    for (const RowBand rows : wanted.bands()) addDiffering(frame->canvas, rows, damage_);
  }
  filling_ = frame;
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
  damage_.add(pointerDamage());
  shown_ = pointer_.cursor();
  frame.covered.drawOver(frame.canvas, shown_);
  return pool_.lend(frame, damage_, times);
}

void FrameMaker::addDiffering(const PixelCanvas& screen, RowBand rows, BandSet& to) const {
  for (int row = rows.top; row < rows.bottom; ++row) {
    if (!newest_->covered.rowEquals(newest_->canvas, screen, row)) to.add({row, row + 1});
  }
}

BandSet FrameMaker::pointerDamage() const {
  BandSet rows;
  if (pointer_.cursor() != shown_) {
    rows.add(rowsOf(shown_, width_, height_));
    rows.add(rowsOf(pointer_.cursor(), width_, height_));
  }
  return rows;
}

}  // namespace tovalin
