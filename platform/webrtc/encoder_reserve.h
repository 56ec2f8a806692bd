#pragma once

#include "platform/webrtc/require_checks.h"

#include <modules/video_coding/codecs/interface/libvpx_interface.h>

#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/webrtc/large_block.h"

namespace tovalin {

// libvpx takes 35 ms to make an encoder for 1920x1080, most of them to clear memory, and as long
// for its first picture, of whatever; and the first picture of a visit waits for it. So an encoder
// like the last one is made while the visit is still being negotiated, and begins with a black
// picture. Any thread.
class EncoderReserve {
 public:
  EncoderReserve();
  ~EncoderReserve();

  EncoderReserve(const EncoderReserve&) = delete;
  EncoderReserve& operator=(const EncoderReserve&) = delete;

  // Begins to make one, on a thread of its own. Nothing happens before the first encoder, and while
  // there is one in reserve.
  void prepare();

  // Ends what is in reserve; waits until it is made.
  void drop();

  // The black picture's time, in the units of the settings: all others must be later.
  static constexpr vpx_codec_pts_t kBlackAt = 0;

  // As libvpx's own, from the reserve where that is of the same kind; and the black picture has
  // been encoded, as `black`. The memory that was cleared and not used goes back to the system;
  // this thread then remembers that block (large_block.h). It and the encoder's own threads have no
  // real-time priority from then on.
  vpx_codec_err_t init(vpx_codec_ctx_t* context, vpx_codec_iface_t* codec,
                       const vpx_codec_enc_cfg_t& settings, vpx_codec_flags_t flags,
                       std::vector<uint8_t>& black);

 private:
  struct Kind {
    vpx_codec_iface_t* codec;
    vpx_codec_enc_cfg_t settings;
    vpx_codec_flags_t flags;
  };
  struct Made {
    vpx_codec_err_t result;
    vpx_codec_ctx_t context;
    LargeBlock block;
    std::vector<uint8_t> black;
  };

  static bool alike(const Kind& one, const Kind& other);
  Made make(const Kind& kind) const;
  vpx_codec_err_t encodeBlack(const Kind& kind, Made& made) const;
  void end(std::future<Made> made) const;
  // Remembers the kind for the next visit.
  std::optional<Made> takeFor(const Kind& kind);

  const std::unique_ptr<webrtc::LibvpxInterface> libvpx_ = webrtc::LibvpxInterface::Create();

  std::mutex mutex_;  // guards the three below
  std::optional<Kind> last_;
  std::optional<Kind> reserved_;
  std::future<Made> reserve_;
};

}  // namespace tovalin
