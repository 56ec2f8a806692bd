#include "platform/webrtc/encoder_reserve.h"

#include <pthread.h>
#include <sched.h>

#include <cstring>
#include <system_error>
#include <utility>

namespace tovalin {
namespace {

// The library runs its queues at a real-time priority where it may, as it may for root. libvpx's
// threads, which inherit that, wait for each other without ever giving way: on a machine whose
// processors are all taken by those that wait the one they wait for never runs.
void leaveRealTime() {
  const sched_param ordinary{};
  pthread_setschedparam(pthread_self(), SCHED_OTHER, &ordinary);
}

}  // namespace

EncoderReserve::EncoderReserve() = default;

EncoderReserve::~EncoderReserve() {
  drop();
}

void EncoderReserve::prepare() {
  std::lock_guard lock(mutex_);
  if (!last_ || reserve_.valid()) return;
  reserved_ = last_;
  try {
    reserve_ = std::async(std::launch::async, [this, kind = *last_] {
      pthread_setname_np(pthread_self(), "rtc-encoder");
      return make(kind);
    });
  } catch (const std::system_error&) {
    // No thread can be had: the visit makes its encoder when it needs one.
  }
}

void EncoderReserve::drop() {
  std::future<Made> unused;
  {
    std::lock_guard lock(mutex_);
    unused = std::exchange(reserve_, {});
  }
  end(std::move(unused));
}

vpx_codec_err_t EncoderReserve::init(vpx_codec_ctx_t* context, vpx_codec_iface_t* codec,
                                     const vpx_codec_enc_cfg_t& settings, vpx_codec_flags_t flags,
                                     std::vector<uint8_t>& black) {
  leaveRealTime();
  const Kind kind{codec, settings, flags};
  auto taken = takeFor(kind);
  Made made = taken ? std::move(*taken) : make(kind);
  *context = made.context;
  black = std::move(made.black);
  if (made.result != VPX_CODEC_OK) return made.result;
  rememberLargeBlock(made.block);
  // The rates have changed since.
  return taken ? libvpx_->codec_enc_config_set(context, &settings) : made.result;
}

// In what cannot be set later.
bool EncoderReserve::alike(const Kind& one, const Kind& other) {
  const auto& a = one.settings;
  const auto& b = other.settings;
  return one.codec == other.codec && one.flags == other.flags && a.g_w == b.g_w && a.g_h == b.g_h &&
         a.g_threads == b.g_threads && a.g_profile == b.g_profile && a.g_pass == b.g_pass &&
         a.g_lag_in_frames == b.g_lag_in_frames && a.g_timebase.num == b.g_timebase.num &&
         a.g_timebase.den == b.g_timebase.den && a.g_error_resilient == b.g_error_resilient &&
         a.rc_end_usage == b.rc_end_usage;
}

EncoderReserve::Made EncoderReserve::make(const Kind& kind) const {
  leaveRealTime();
  const LargeBlockSearch search;
  Made made{};
  made.result = libvpx_->codec_enc_init(&made.context, kind.codec, &kind.settings, kind.flags);
  if (made.result == VPX_CODEC_OK) {
    made.result = encodeBlack(kind, made);
    if (made.result != VPX_CODEC_OK) libvpx_->codec_destroy(&made.context);
  }
  if (made.result == VPX_CODEC_OK) giveBackZeros();
  made.block = rememberedLargeBlock();
  return made;
}

vpx_codec_err_t EncoderReserve::encodeBlack(const Kind& kind, Made& made) const {
  constexpr unsigned kAlignment = 16;
  vpx_image_t image;
  if (libvpx_->img_alloc(&image, VPX_IMG_FMT_I420, kind.settings.g_w, kind.settings.g_h,
                         kAlignment) == nullptr) {
    return VPX_CODEC_MEM_ERROR;
  }
  for (int plane = 0; plane < 3; ++plane) {
    const unsigned rows = plane == 0 ? image.d_h : (image.d_h + 1) / 2;
    const int value = plane == 0 ? 16 : 128;
    std::memset(image.planes[plane], value, std::size_t{rows} * image.stride[plane]);
  }
  const auto result = libvpx_->codec_encode(&made.context, &image, kBlackAt, 1, VPX_EFLAG_FORCE_KF,
                                            VPX_DL_REALTIME);
  libvpx_->img_free(&image);
  if (result != VPX_CODEC_OK) return result;
  // One packet, or one for each partition, as the flags have it.
  vpx_codec_iter_t place = nullptr;
  while (const auto* packet = libvpx_->codec_get_cx_data(&made.context, &place)) {
    if (packet->kind != VPX_CODEC_CX_FRAME_PKT) continue;
    const auto* bytes = static_cast<const uint8_t*>(packet->data.frame.buf);
    made.black.insert(made.black.end(), bytes, bytes + packet->data.frame.sz);
  }
  return result;
}

void EncoderReserve::end(std::future<Made> unused) const {
  if (!unused.valid()) return;
  Made made = unused.get();
  if (made.result == VPX_CODEC_OK) libvpx_->codec_destroy(&made.context);
}

std::optional<EncoderReserve::Made> EncoderReserve::takeFor(const Kind& kind) {
  std::future<Made> found;
  bool fits = false;
  {
    std::lock_guard lock(mutex_);
    last_ = kind;
    found = std::exchange(reserve_, {});
    fits = found.valid() && alike(*reserved_, kind);
  }
  if (!fits) {
    end(std::move(found));
    return std::nullopt;
  }
  Made made = found.get();
  if (made.result != VPX_CODEC_OK) return std::nullopt;
  return made;
}

}  // namespace tovalin
