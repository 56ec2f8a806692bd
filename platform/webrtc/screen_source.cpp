#include "platform/webrtc/screen_source.h"

#include <api/video/video_frame.h>
#include <api/video/video_rotation.h>

#include <utility>

namespace tovalin {

using Rect = webrtc::VideoFrame::UpdateRect;

void ScreenSource::push(const PixelBuffer& picture, int64_t timestampNs) {
  const int width = picture.width();
  const int height = picture.height();
  if (width <= 0 || height <= 0) return;
  const int64_t timestampUs = timestampNs / 1000;

  std::lock_guard lock(mutex_);
  // The sizes that the library would like are not followed: a screencast is never scaled.
  int adaptedWidth, adaptedHeight, cropWidth, cropHeight, cropX, cropY;
  if (!AdaptFrame(width, height, timestampUs, &adaptedWidth, &adaptedHeight, &cropWidth,
                  &cropHeight, &cropX, &cropY)) {
    converter_.skip(picture);
    return;
  }
  // The library's encoder queue encodes only the newest of the frames that wait in it, so frames
  // never pile up there; the converter's fixed number of copies bounds what is on its way.
  const auto converted = converter_.convert(picture);
  if (!converted) {
    OnFrameDropped();
    return;
  }
  const Identity identity{picture.streamIdentity(), picture.pictureNumber()};
  // The library adds up the rectangles of the frames that it passes over on their way to the
  // encoder: what arrives there as a repeat is one.
  const bool repeated = std::exchange(delivered_, identity) == identity;
  OnFrame(webrtc::VideoFrame::Builder()
              .set_video_frame_buffer(converted)
              .set_rotation(webrtc::kVideoRotation_0)
              .set_timestamp_us(timestampUs)
              .set_update_rect(repeated ? Rect{0, 0, 0, 0} : Rect{0, 0, width, height})
              .build());
}

}  // namespace tovalin
