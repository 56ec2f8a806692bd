// A clock in the picture: a strip of squares at the left edge of the screen that shows a number in
// binary, sixteen digits, the lowest on the left and white for one. It counts thirty times a
// second, each step one request, so that nobody sees half of it. Prints READY once it is there,
// then for each number its time in nanoseconds of CLOCK_MONOTONIC.

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace {

constexpr int16_t kTop = 128;
constexpr uint16_t kSquare = 16;
constexpr uint32_t kDigits = 16;
constexpr long kStepNs = 33'333'333;
constexpr long kSecondNs = 1'000'000'000;
constexpr uint32_t kWhite = 0xffffff;

}  // namespace

int main() {
  xcb_connection_t* const server = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(server) != 0) {
    std::fputs("frame_counter: no X server\n", stderr);
    return 1;
  }
  const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(server)).data;
  const xcb_window_t window = xcb_generate_id(server);
  // Above the scene and out of the window manager's hands.
  const uint32_t values[] = {screen.black_pixel, 1};
  xcb_create_window(server, XCB_COPY_FROM_PARENT, window, screen.root, 0, kTop, kDigits * kSquare,
                    kSquare, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
  const xcb_gcontext_t graphics = xcb_generate_id(server);
  const uint32_t inverting[] = {XCB_GX_XOR, kWhite};
  xcb_create_gc(server, graphics, window, XCB_GC_FUNCTION | XCB_GC_FOREGROUND, inverting);
  xcb_map_window(server, window);
  // Answered once it is on the screen.
  std::free(xcb_get_input_focus_reply(server, xcb_get_input_focus(server), nullptr));
  std::puts("READY");

  std::vector<xcb_rectangle_t> squares;
  timespec next;
  clock_gettime(CLOCK_MONOTONIC, &next);
  for (uint32_t number = 1; xcb_connection_has_error(server) == 0; ++number) {
    const uint32_t changed = number ^ (number - 1);
    squares.clear();
    for (uint32_t digit = 0; digit < kDigits; ++digit) {
      if ((changed >> digit & 1) == 0) continue;
      squares.push_back({static_cast<int16_t>(digit * kSquare), 0, kSquare, kSquare});
    }
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    xcb_poly_fill_rectangle(server, window, graphics, static_cast<uint32_t>(squares.size()),
                            squares.data());
    xcb_flush(server);
    std::printf("%u %lld\n", number, static_cast<long long>(now.tv_sec) * kSecondNs + now.tv_nsec);
    std::fflush(stdout);
    next.tv_nsec += kStepNs;
    if (next.tv_nsec >= kSecondNs) {
      next.tv_nsec -= kSecondNs;
      ++next.tv_sec;
    }
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
  }
  return 0;
}
