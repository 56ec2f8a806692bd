#include "platform/webrtc/frame_trace.h"

#include <fcntl.h>
#include <rtc_base/time_utils.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace tovalin {

FrameTrace::FrameTrace(const std::string& file) {
  // Whole lines, from whatever thread: the system appends what one write brings.
  constexpr int kNewLines = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC;
  if (!file.empty()) file_ = open(file.c_str(), kNewLines, 0600);
}

FrameTrace::~FrameTrace() {
  if (file_ >= 0) close(file_);
}

int64_t FrameTrace::now() {
  return rtc::TimeNanos();
}

template <typename... Values>
void FrameTrace::write(std::string_view stage, Values... values) {
  if (file_ < 0) return;
  constexpr size_t kWidest = 21;  // of 64 bits in decimal, with a sign and a space
  std::array<char, 8 + sizeof...(values) * kWidest + 1> line;
  auto end = std::ranges::copy(stage, line.begin()).out;
  const auto append = [&](auto value) {
    *end++ = ' ';
    end = std::to_chars(end, end + kWidest - 1, value).ptr;
  };
  (append(values), ...);
  *end++ = '\n';
  [[maybe_unused]] const auto written =
      ::write(file_, line.data(), static_cast<size_t>(end - line.begin()));
}

void FrameTrace::converted(int64_t microseconds, PictureTimes picture, int64_t begun) {
  write("source", microseconds, picture.noticed, picture.taken, begun, now());
}

void FrameTrace::fellBehind(int64_t microseconds) {
  write("behind", microseconds);
}

void FrameTrace::ahead(int64_t microseconds, uint32_t rtp, int64_t begun, size_t bytes) {
  write("ahead", microseconds, rtp, begun, now(), bytes);
}

void FrameTrace::encoded(int64_t microseconds, uint32_t rtp, int64_t begun, size_t bytes,
                         int quantiser) {
  write("encoder", microseconds, rtp, begun, now(), bytes, quantiser);
}

}  // namespace tovalin
