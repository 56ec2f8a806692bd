#pragma once

#include "platform/webrtc/require_checks.h"

#include <media/base/adapted_video_track_source.h>

#include <cstdint>
#include <mutex>
#include <optional>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/picture_converter.h"

namespace tovalin {

// The screen as the media library sees it: a screencast, so that under load it keeps the
// resolution and drops frames, and text stays readable.
class ScreenSource : public rtc::AdaptedVideoTrackSource {
 public:
  // Converts and delivers one picture on the calling thread; the same one again with an empty
  // update rectangle. Nothing is converted while nobody watches or the library's rate control
  // passes this picture over. Any thread; calls are taken one at a time.
  void push(const PixelBuffer& picture, int64_t timestampNs);

  bool is_screencast() const override { return true; }
  absl::optional<bool> needs_denoising() const override { return false; }
  SourceState state() const override { return kLive; }
  bool remote() const override { return false; }

 private:
  struct Identity {
    uint64_t stream;
    uint64_t number;

    bool operator==(const Identity&) const = default;
  };

  std::mutex mutex_;
  PictureConverter converter_;
  std::optional<Identity> delivered_;  // the picture last given to the library
};

}  // namespace tovalin
