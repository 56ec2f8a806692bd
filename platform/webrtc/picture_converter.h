#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/scoped_refptr.h>
#include <api/video/i420_buffer.h>
#include <rtc_base/ref_counted_object.h>

#include <cstdint>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/damage_history.h"

namespace tovalin {

// Turns captured BGRA pictures into I420 (BT.601, limited range: what a VP8 viewer assumes). Keeps
// its copies up to date by converting only the rows that changed, and hands out the same copy for
// the same picture. Not thread-safe.
class PictureConverter {
 public:
  // One copy being encoded, one waiting, one on its way: when all are held the encoder is behind,
  // and one more would only add delay and memory.
  static constexpr size_t kCopies = 3;
  // A copy that a moment's load has taken, 3 MB at 1920x1080, is given back when so many pictures
  // have done without it: two seconds of motion.
  static constexpr int64_t kIdlePictures = 60;

  // Takes note of a picture that nobody wants to see, so that its damage is not lost.
  void skip(const PixelBuffer& picture);

  // The picture in I420, immutable from now on; null when the consumer still holds every copy, or
  // when the pixels have been taken back. Of the picture converted last there always is a copy.
  rtc::scoped_refptr<webrtc::I420BufferInterface> convert(const PixelBuffer& picture);
  // Whether the last conversion failed for want of the pixels.
  bool pixelsGone() const { return pixelsGone_; }

  // The band of rows that may differ between picture `number` and the newest one noted; all rows
  // when that far back is not remembered.
  RowBand changedSince(uint64_t number, int height);

  // Rows converted since construction.
  int64_t rowsConverted() const { return rowsConverted_; }

 private:
  // Each copy's reference count tells whether the consumer still reads it.
  using Buffer = rtc::RefCountedObject<webrtc::I420Buffer>;

  struct Copy {
    rtc::scoped_refptr<Buffer> buffer;
    uint64_t number = 0;
    bool filled = false;
    int64_t usedAt = 0;  // as pictures_ was
  };

  void dropIdleCopies();
  Copy* freshestFreeCopy(const PixelBuffer& picture);
  void convertRows(const PixelBuffer& picture, Buffer& target, RowBand band);

  DamageHistory history_;
  std::vector<Copy> copies_;
  std::vector<RowBand> bands_;  // kept, so that a picture needs no allocation
  bool pixelsGone_ = false;
  int64_t pictures_ = 0;  // that were to be converted
  int64_t rowsConverted_ = 0;
};

}  // namespace tovalin
