// What the benchmarks click on: a window over the whole screen whose patch in the middle changes
// its colour with each press of a button, at once and with nothing in between; with the word
// `alone` the patch without the window around it. Prints READY once it is there, then for each
// press its time in nanoseconds of CLOCK_MONOTONIC.

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>

namespace {

constexpr uint32_t kColours[] = {0x202020, 0xe0e0e0};
constexpr uint16_t kPatch = 64;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

int64_t monotonicNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

int main(int count, char** words) {
  const bool alone = count > 1 && std::string_view(words[1]) == "alone";
  xcb_connection_t* const server = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(server) != 0) {
    std::fputs("click_target: no X server\n", stderr);
    return 1;
  }
  const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(server)).data;
  const xcb_window_t window = xcb_generate_id(server);
  // No window manager in between: it would hold the pointer until it has looked at each press.
  const uint32_t values[] = {0x27415f, 1, XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_EXPOSURE};
  const auto left = static_cast<int16_t>((screen.width_in_pixels - kPatch) / 2);
  const auto top = static_cast<int16_t>((screen.height_in_pixels - kPatch) / 2);
  const xcb_rectangle_t whole{0, 0, screen.width_in_pixels, screen.height_in_pixels};
  const xcb_rectangle_t place = alone ? xcb_rectangle_t{left, top, kPatch, kPatch} : whole;
  xcb_create_window(server, XCB_COPY_FROM_PARENT, window, screen.root, place.x, place.y,
                    place.width, place.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
  const xcb_gcontext_t graphics = xcb_generate_id(server);
  xcb_create_gc(server, graphics, window, 0, nullptr);
  xcb_map_window(server, window);
  xcb_flush(server);

  const xcb_rectangle_t patch{static_cast<int16_t>(left - place.x),
                              static_cast<int16_t>(top - place.y), kPatch, kPatch};
  int presses = 0;
  const auto paint = [&] {
    xcb_change_gc(server, graphics, XCB_GC_FOREGROUND, &kColours[presses % 2]);
    xcb_poly_fill_rectangle(server, window, graphics, 1, &patch);
    xcb_flush(server);
  };
  bool shown = false;
  while (const std::unique_ptr<xcb_generic_event_t, Free> event{xcb_wait_for_event(server)}) {
    const int kind = event->response_type & 0x7f;
    if (kind == XCB_BUTTON_PRESS) {
      const int64_t now = monotonicNs();
      ++presses;
      paint();
      std::printf("%lld\n", static_cast<long long>(now));
      std::fflush(stdout);
    } else if (kind == XCB_EXPOSE) {
      paint();
      if (shown) continue;
      shown = true;
      std::puts("READY");
      std::fflush(stdout);
    }
  }
  return 0;
}
