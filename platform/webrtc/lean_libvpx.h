#pragma once

#include "platform/webrtc/require_checks.h"

#include <modules/video_coding/codecs/interface/libvpx_interface.h>

#include <memory>
#include <optional>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/encoder_reserve.h"

namespace tovalin {

// Which rows an encoder has to look at; the rest of the picture is what it was. Written before each
// picture and read while it is encoded, on the encoder's queue.
struct ActiveRows {
  // Absent: all of them. An empty band: none.
  std::optional<RowBand> rows;
};

// libvpx for screens: it spends its time on the active rows only, none where there are none, and
// gives back the memory that it has cleared but does not use. For one encoder at a time.
std::unique_ptr<webrtc::LibvpxInterface> leanLibvpx(std::shared_ptr<const ActiveRows> active,
                                                    std::shared_ptr<EncoderReserve> reserve);

}  // namespace tovalin
