#include "platform/webrtc/encoder_reserve.h"

#include <pthread.h>
#include <sched.h>

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
                                     const vpx_codec_enc_cfg_t& settings, vpx_codec_flags_t flags) {
  leaveRealTime();
  const Kind kind{codec, settings, flags};
  auto taken = takeFor(kind);
  const Made made = taken ? *taken : make(kind);
  *context = made.context;
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
  if (made.result == VPX_CODEC_OK) giveBackZeros();
  made.block = rememberedLargeBlock();
  return made;
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
  const Made made = found.get();
  if (made.result != VPX_CODEC_OK) return std::nullopt;
  return made;
}

}  // namespace tovalin
