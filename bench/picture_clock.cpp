// A clock that a viewer can read off the picture, to tell how old the picture is: a row of blocks
// at the left edge, near the bottom, white for 1 and black for 0, the lowest bit first. They show
// the ticks of CLOCK_MONOTONIC as a Gray code, so that one block changes at a time and no picture
// catches a number half drawn. Each block is one of the encoder's. Prints READY once it is there.

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <ctime>

namespace {

// bench/clock_age.mjs knows these too.
constexpr int kBits = 12;
constexpr int kBlock = 16;
constexpr int kAboveBottom = 40;
constexpr int64_t kTickNs = 10'000'000;

constexpr uint32_t kColours[] = {0x000000, 0xffffff};

}  // namespace

int main() {
  xcb_connection_t* const server = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(server) != 0) {
    std::fputs("picture_clock: no X server\n", stderr);
    return 1;
  }
  const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(server)).data;
  const int top = (screen.height_in_pixels - kAboveBottom) / kBlock * kBlock;
  const xcb_window_t window = xcb_generate_id(server);
  const uint32_t values[] = {kColours[0], 1};
  xcb_create_window(server, XCB_COPY_FROM_PARENT, window, screen.root, 0, static_cast<int16_t>(top),
                    kBits * kBlock, kBlock, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
  const xcb_gcontext_t graphics = xcb_generate_id(server);
  xcb_create_gc(server, graphics, window, 0, nullptr);
  xcb_map_window(server, window);
  xcb_flush(server);
  std::puts("READY");
  std::fflush(stdout);

  uint64_t shown = 0;  // the background is all zeros
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  while (xcb_connection_has_error(server) == 0) {
    const int64_t now = int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    const int64_t tick = now / kTickNs;
    const auto number = static_cast<uint64_t>(tick) % (uint64_t{1} << kBits);
    const uint64_t code = number ^ (number >> 1);
    for (int bit = 0; bit < kBits; ++bit) {
      if (((code ^ shown) >> bit & 1) == 0) continue;
      xcb_change_gc(server, graphics, XCB_GC_FOREGROUND, &kColours[code >> bit & 1]);
      const xcb_rectangle_t block{static_cast<int16_t>(bit * kBlock), 0, kBlock, kBlock};
      xcb_poly_fill_rectangle(server, window, graphics, 1, &block);
    }
    xcb_flush(server);
    shown = code;
    const int64_t next = (tick + 1) * kTickNs;
    time = {next / 1'000'000'000, next % 1'000'000'000};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
    clock_gettime(CLOCK_MONOTONIC, &time);
  }
  return 0;
}
