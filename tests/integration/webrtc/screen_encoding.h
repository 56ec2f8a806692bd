#pragma once

#include "platform/webrtc/require_checks.h"

#include <api/scoped_refptr.h>
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>

#include <chrono>
#include <cstdint>

#include "platform/pixel_buffer.h"
#include "tests/integration/webrtc/scrolling_screen.h"

namespace tovalin {

using I420 = rtc::scoped_refptr<webrtc::I420BufferInterface>;

inline I420 copyOf(const ScrollingScreen& screen) {
  const I420View view = screen.view();
  return webrtc::I420Buffer::Copy(view.width, view.height, view.y, view.strideY, view.u,
                                  view.strideU, view.v, view.strideV);
}

// RTP's.
inline uint32_t timestampOf(std::chrono::microseconds at) {
  return static_cast<uint32_t>(at.count() * 9 / 100);
}

// A captured picture as an encoder gets it. `changed`: the rows that are new; an empty band for a
// repeat.
inline webrtc::VideoFrame frameOf(const I420& buffer, std::chrono::microseconds at,
                                  RowBand changed) {
  return webrtc::VideoFrame::Builder()
      .set_video_frame_buffer(buffer)
      .set_timestamp_us(at.count())
      .set_timestamp_rtp(timestampOf(at))
      .set_update_rect(webrtc::VideoFrame::UpdateRect{0, changed.top, buffer->width(),
                                                      changed.bottom - changed.top})
      .build();
}

}  // namespace tovalin
