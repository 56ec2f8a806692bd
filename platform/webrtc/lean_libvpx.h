#pragma once

#include "platform/webrtc/require_checks.h"

#include <modules/video_coding/codecs/interface/libvpx_interface.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/block_move.h"
#include "platform/webrtc/encoder_reserve.h"

namespace tovalin {

// What an encoder is to do with its next picture, and what it says to that. Written before each
// picture and read while it is encoded, on the encoder's queue.
struct PictureOrder {
  // Which rows to look at; the rest of the picture is what it was. Absent: all of them. An empty
  // band: none.
  std::optional<RowBand> rows;
  // Not null: of these rows, only the macroblocks that have a 1 here.
  const std::vector<uint8_t>* blocks = nullptr;
  // Not null: only to move these blocks of the last picture, whatever else is new. Taken off by the
  // encoder once it has.
  const BlockMove* move = nullptr;

  // Said by the encoder: whether its last picture was such a move, and whether it may be followed
  // by one.
  bool moved = false;
  bool movable = false;
};

// libvpx for screens: it spends its time on the active rows only, none where there are none or they
// have just moved, and gives back the memory that it has cleared but does not use. For one encoder
// at a time.
std::unique_ptr<webrtc::LibvpxInterface> leanLibvpx(std::shared_ptr<PictureOrder> order,
                                                    std::shared_ptr<EncoderReserve> reserve);

}  // namespace tovalin
