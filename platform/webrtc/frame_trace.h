#pragma once

#include "platform/webrtc/require_checks.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/pixel_buffer.h"

namespace tovalin {

// Writes down when each picture passed through which stage, a line each, for whoever wants to know
// where the time goes. Times are nanoseconds of the monotonic clock; the microseconds by which the
// library knows a picture, and then the RTP time stamp that its viewer sees, join the lines:
//
//   source MICROSECONDS NOTICED TAKEN BEGUN CONVERTED
//   behind MICROSECONDS                                   dropped for want of a free copy
//   ahead MICROSECONDS RTP BEGUN ENCODED BYTES            a frame that goes ahead of a picture
//   encoder MICROSECONDS RTP BEGUN ENCODED BYTES QUANTISER
//
// Any thread.
class FrameTrace {
 public:
  // Without a name, or for a file that cannot be opened, nothing is ever written.
  explicit FrameTrace(const std::string& file);
  ~FrameTrace();

  FrameTrace(const FrameTrace&) = delete;
  FrameTrace& operator=(const FrameTrace&) = delete;

  static int64_t now();

  void converted(int64_t microseconds, PictureTimes picture, int64_t begun);
  void fellBehind(int64_t microseconds);
  void ahead(int64_t microseconds, uint32_t rtp, int64_t begun, size_t bytes);
  void encoded(int64_t microseconds, uint32_t rtp, int64_t begun, size_t bytes, int quantiser);

 private:
  template <typename... Values>
  void write(std::string_view stage, Values... values);

  int file_ = -1;
};

}  // namespace tovalin
