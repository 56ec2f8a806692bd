// The limit that the host is measured against: the same screen grabbed, converted and encoded
// thirty times a second by the bare libraries, with nothing sent to anybody.
//
//   bare_encoder KBPS SECONDS
//
// Prints what a picture took, in milliseconds of processor time, as one JSON line.

#include <libyuv/convert.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <vpx/vp8cx.h>
#include <vpx/vpx_encoder.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kRate = 30;

double processorMs() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// The root window of the display that is there, by way of shared memory.
class Screen {
 public:
  Screen() : server_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(server_) != 0) throw std::runtime_error("no X server");
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(server_)).data;
    root_ = screen->root;
    width = screen->width_in_pixels;
    height = screen->height_in_pixels;
    const int memory =
        shmget(IPC_PRIVATE, static_cast<size_t>(width) * height * 4, IPC_CREAT | 0600);
    pixels = static_cast<uint8_t*>(shmat(memory, nullptr, 0));
    segment_ = xcb_generate_id(server_);
    xcb_shm_attach(server_, segment_, static_cast<uint32_t>(memory), 0);
    // Answered once the server has attached it; from then on it goes with its last user.
    std::free(xcb_get_input_focus_reply(server_, xcb_get_input_focus(server_), nullptr));
    shmctl(memory, IPC_RMID, nullptr);
  }

  void grab() {
    const auto asked = xcb_shm_get_image(server_, root_, 0, 0, width, height, ~0U,
                                         XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0);
    auto* answer = xcb_shm_get_image_reply(server_, asked, nullptr);
    if (answer == nullptr) throw std::runtime_error("the screen cannot be grabbed");
    std::free(answer);
  }

  uint16_t width = 0;
  uint16_t height = 0;
  const uint8_t* pixels = nullptr;

 private:
  xcb_connection_t* server_;
  xcb_window_t root_ = 0;
  xcb_shm_seg_t segment_ = 0;
};

// Set as the media library sets it for a screencast.
class Encoder {
 public:
  Encoder(unsigned width, unsigned height, unsigned kbps) {
    vpx_codec_enc_cfg_t settings;
    vpx_codec_enc_config_default(vpx_codec_vp8_cx(), &settings, 0);
    settings.g_w = width;
    settings.g_h = height;
    settings.g_threads = 1;
    settings.g_timebase = {1, 90000};
    settings.g_lag_in_frames = 0;
    settings.g_pass = VPX_RC_ONE_PASS;
    settings.rc_end_usage = VPX_CBR;
    settings.rc_target_bitrate = kbps;
    settings.rc_min_quantizer = 12;
    settings.rc_max_quantizer = 56;
    settings.rc_undershoot_pct = 100;
    settings.rc_overshoot_pct = 15;
    settings.rc_buf_initial_sz = 500;
    settings.rc_buf_optimal_sz = 600;
    settings.rc_buf_sz = 1000;
    settings.rc_dropframe_thresh = 0;  // a dropped picture would pass for a cheap one
    settings.rc_resize_allowed = 0;
    settings.kf_mode = VPX_KF_DISABLED;
    if (vpx_codec_enc_init(&codec_, vpx_codec_vp8_cx(), &settings, 0) != VPX_CODEC_OK) {
      throw std::runtime_error("libvpx does not start");
    }
    vpx_codec_control(&codec_, VP8E_SET_CPUUSED, -6);
    vpx_codec_control(&codec_, VP8E_SET_STATIC_THRESHOLD, 100U);
    vpx_codec_control(&codec_, VP8E_SET_SCREEN_CONTENT_MODE, 2U);
    vpx_codec_control(&codec_, VP8E_SET_NOISE_SENSITIVITY, 0U);
  }

  size_t encode(const vpx_image_t& picture) {
    vpx_codec_encode(&codec_, &picture, time_, 90000 / kRate, 0, VPX_DL_REALTIME);
    time_ += 90000 / kRate;
    size_t bytes = 0;
    vpx_codec_iter_t place = nullptr;
    while (const vpx_codec_cx_pkt_t* packet = vpx_codec_get_cx_data(&codec_, &place)) {
      if (packet->kind == VPX_CODEC_CX_FRAME_PKT) bytes += packet->data.frame.sz;
    }
    return bytes;
  }

 private:
  vpx_codec_ctx_t codec_{};
  vpx_codec_pts_t time_ = 0;
};

void measure(unsigned kbps, int seconds) {
  Screen screen;
  const int width = screen.width;
  const int height = screen.height;
  Encoder encoder(screen.width, screen.height, kbps);
  vpx_image_t picture;
  if (vpx_img_alloc(&picture, VPX_IMG_FMT_I420, screen.width, screen.height, 16) == nullptr) {
    throw std::runtime_error("no memory");
  }
  const int warmUp = 2 * kRate;
  const int pictures = warmUp + seconds * kRate;
  double grab = 0, convert = 0, encode = 0;
  size_t bytes = 0;
  timespec next;
  clock_gettime(CLOCK_MONOTONIC, &next);
  for (int i = 0; i < pictures; ++i) {
    const double start = processorMs();
    screen.grab();
    const double grabbed = processorMs();
    libyuv::ARGBToI420(screen.pixels, 4 * width, picture.planes[0], picture.stride[0],
                       picture.planes[1], picture.stride[1], picture.planes[2], picture.stride[2],
                       width, height);
    const double converted = processorMs();
    const size_t size = encoder.encode(picture);
    const double encoded = processorMs();
    if (i >= warmUp) {
      grab += grabbed - start;
      convert += converted - grabbed;
      encode += encoded - converted;
      bytes += size;
    }
    next.tv_nsec += 1'000'000'000 / kRate;
    if (next.tv_nsec >= 1'000'000'000) {
      next.tv_nsec -= 1'000'000'000;
      ++next.tv_sec;
    }
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
  }
  const double count = seconds * kRate;
  std::printf("{\"grab\":%.3f,\"convert\":%.3f,\"encode\":%.3f,\"kbps\":%.1f}\n", grab / count,
              convert / count, encode / count, static_cast<double>(bytes) / 1000.0 / seconds);
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) {
    std::fputs("usage: bare_encoder KBPS SECONDS\n", stderr);
    return 2;
  }
  try {
    measure(static_cast<unsigned>(std::stoul(words[1])), std::stoi(words[2]));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bare_encoder: %s\n", error.what());
    return 1;
  }
  return 0;
}
