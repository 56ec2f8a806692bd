#pragma once

#include <xcb/shm.h>

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/x11/x11_capture_layout.h"
#include "platform/x11/x11_capture_notices.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_frame_cursor.h"
#include "platform/x11/x11_frame_memory.h"
#include "platform/x11/x11_pixel_format.h"

namespace tovalin {

// How the root window of a screen keeps its pixels.
PixelLayout pixelLayoutOf(const X11Connection& connection);

// Rows that were asked for, and the number of the request: what the server reported before it came
// to that request is in the pixels.
struct FetchedBand {
  RowBand rows;
  unsigned sequence = 0;
};

// Copies rows of a display from the server into buffers. Pixels that are BGRA already and memory
// that the server shares meet directly; else they pass through memory shared for the purpose, or
// through the connection. Capture thread alone.
class FrameGrabber {
 public:
  // The layout must be a supported one.
  FrameGrabber(X11Connection& connection, const PlacedDisplay& display, const PixelLayout& layout,
               CaptureNotices& notices);

  // Memory for so many rows, of the kind that can be filled quickest; null when there is none.
  std::shared_ptr<FrameMemory> allocate(int rows);

  // Sends the requests for all bands at once; `collect` waits for all the answers. Only in pairs,
  // for the same buffer, which begins with row `firstRow`. `collect` says why the server refused;
  // absent: the pixels are there.
  std::span<const FetchedBand> ask(const FrameMemory& into, std::span<const RowBand> bands,
                                   int firstRow = 0);
  std::optional<Error> collect(const PixelCanvas& into);

 private:
  // Both return the protocol's number for what went wrong; 0: nothing did.
  int collectShared(const FetchedBand& band, const PixelCanvas& into);
  int collectCopied(const FetchedBand& band, const PixelCanvas& into);
  void store(const uint8_t* from, RowBand rows, const PixelCanvas& into) const;

  X11Connection& connection_;
  PlacedDisplay display_;
  PixelLayout layout_;
  CaptureNotices& notices_;
  std::optional<PixelConverter> converter_;  // absent when the pixels are BGRA already
  bool shares_ = true;
  bool viaSegment_ = false;               // whether the requests under way fill shared memory
  std::shared_ptr<FrameMemory> staging_;  // where pixels wait for conversion; null unless needed
  std::vector<FetchedBand> asked_;
};

}  // namespace tovalin
