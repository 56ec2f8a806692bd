#pragma once

#include "platform/webrtc/require_checks.h"

#include <modules/video_coding/codecs/interface/libvpx_interface.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/pixel_buffer.h"
#include "platform/webrtc/block_move.h"
#include "platform/webrtc/encoder_reserve.h"
#include "platform/webrtc/picture_patch.h"

namespace tovalin {

// What an encoder is to do with its next picture, and what it says to that. Written before each
// picture and read while it is encoded, on the encoder's queue.
struct PictureOrder {
  // Which rows to look at; the rest of the picture is what it was. Absent: all of them. An empty
  // band: none.
  std::optional<RowBand> rows;
  // Not null: of these rows, only the macroblocks that have a 1 in it.
  const std::vector<uint8_t>* blocks = nullptr;
  // In place of the picture a black one, if it is the first: a key frame that takes no time, and of
  // which everything else may be patched at once.
  bool black = false;

  // What is to be written in place of that, if it can be; its rows become those that were.
  std::optional<PicturePatch::Order> patch;
  // Not null: blocks of the last picture that are moved before; without a patch, in place of it.
  const BlockMove* move = nullptr;

  // Said by the encoder: what it has done,
  enum class Outcome {
    encoded,  // the rows
    moved,    // but not patched
    patched,  // and moved as well, if that was asked for
    black     // and nothing else
  };
  Outcome outcome = Outcome::encoded;
  // whether the last picture may be changed,
  bool changeable = false;
  // and whether the next one is the first, so that it may be black.
  bool begins = false;
};

// libvpx for screens: it spends its time on the active rows only, and none where a frame can be
// written without it; and it gives back the memory that it has cleared but does not use. For one
// encoder at a time.
std::unique_ptr<webrtc::LibvpxInterface> leanLibvpx(std::shared_ptr<PictureOrder> order,
                                                    std::shared_ptr<EncoderReserve> reserve);

}  // namespace tovalin
