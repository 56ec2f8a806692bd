// Reads the QR codes off the screen that DISPLAY names, as a phone held before it would, and prints
// each in a line of its own. Waits until there is one; looks for half a minute at most.

#include <poll.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tests/integration/support/screen_codes.h"

namespace {

constexpr int kLooks = 300;
constexpr int kBetweenLooksMs = 100;

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};

std::vector<std::string> look(xcb_connection_t* server) {
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(server)).data;
  const std::unique_ptr<xcb_get_image_reply_t, Free> picture(
      xcb_get_image_reply(server,
                          xcb_get_image(server, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                        screen->width_in_pixels, screen->height_in_pixels, ~0U),
                          nullptr));
  if (!picture) return {};
  const auto* first = reinterpret_cast<const uint32_t*>(xcb_get_image_data(picture.get()));
  const size_t count = static_cast<size_t>(xcb_get_image_data_length(picture.get())) / 4;
  return tovalin::test::screenCodes({first, first + count}, screen->width_in_pixels,
                                    screen->height_in_pixels);
}

}  // namespace

int main() {
  xcb_connection_t* server = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(server) != 0) {
    std::fputs("screen_reader: no X server\n", stderr);
    return 1;
  }
  for (int i = 0; i < kLooks; ++i) {
    const auto codes = look(server);
    for (const auto& code : codes) std::puts(code.c_str());
    if (!codes.empty()) return 0;
    poll(nullptr, 0, kBetweenLooksMs);
  }
  std::fputs("screen_reader: no code on the screen\n", stderr);
  return 1;
}
