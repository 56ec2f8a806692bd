#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/x11/x11_capture_wake.h"
#include "platform/x11/x11_frame_bands.h"
#include "platform/x11/x11_frame_cursor.h"
#include "platform/x11/x11_frame_memory.h"

namespace tovalin {

// One buffer of a pool, as the capture thread sees it.
struct PooledFrame {
  std::shared_ptr<FrameMemory> memory;
  BandSet stale;          // rows in which it is behind the newest picture
  CoveredPixels covered;  // what its own cursor hides
  PixelCanvas canvas;
  int passedOver = 0;  // pictures since it was last needed
};

// The buffers of one stream. At most `depth` are in consumers' hands at once. Buffers are made when
// first needed: a consumer that gives pictures up before the next is taken never sees more than
// one. A buffer that has not been needed for a while gives its pages back. Capture thread alone,
// but for the returns.
class FramePool {
 public:
  // A second at the full rate. Getting the pages again and filling them takes some milliseconds.
  static constexpr int kPassedOver = 30;

  using Allocate = std::function<std::shared_ptr<FrameMemory>()>;

  FramePool(int width, int height, int depth, std::shared_ptr<CaptureWake> wake, Allocate allocate);
  ~FramePool();

  // Makes the first buffer; false when there is no memory for one.
  bool prepare();

  // The free buffer that needs least to become current, with its cursor taken off; null when
  // `depth` are out. It may be that of a picture given up, whose pixels are gone then: a newer one
  // must follow. After null, the return of a buffer signals the wake, so that nobody has to look
  // again before that.
  PooledFrame* take();

  // What has changed on the screen: every buffer is behind by these rows.
  void markStale(const BandSet& rows);

  // Hands a taken buffer out as the next picture. It is free again when the pixels have been given
  // up or the last reference has gone, and nobody reads it.
  PixelBufferRef lend(PooledFrame& frame, const BandSet& damage, PictureTimes times = {});

 private:
  class Picture;
  // Shared with the pictures, which outlive the pool.
  struct Returns {
    // One buffer is free again. That comes before the look at the flag, as the flag comes before
    // the second look for a free buffer in `take`: one of the two sees the other.
    void noteFree() {
      if (awaited.exchange(false)) wake->signal();
    }

    std::shared_ptr<CaptureWake> wake;
    std::atomic<bool> awaited{false};
  };

  PooledFrame* takeFree();
  PooledFrame* addFrame();
  void passOver(PooledFrame& frame);

  int width_;
  int height_;
  size_t depth_;
  Allocate allocate_;
  std::shared_ptr<Returns> returns_;
  std::vector<std::unique_ptr<PooledFrame>> frames_;
  uint64_t streamIdentity_;
  uint64_t pictureNumber_ = 0;
};

}  // namespace tovalin
