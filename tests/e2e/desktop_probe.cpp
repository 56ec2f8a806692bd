// An X client for the end-to-end tests: it paints what a test can recognise in a picture of the
// screen, and tells what input arrives. One full-screen window; prints READY once it is there.
// Needs a running window manager: it gives the window its place and the keyboard.
//
//   desktop_probe pattern SEED   coloured blocks that follow from the seed
//   desktop_probe animate        the same, scrolling like text, thirty steps a second
//   desktop_probe observe        every input event as one JSON line

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>

// The C header names a field as the language names a keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr uint16_t kColumns = 16;
constexpr uint16_t kRows = 9;
constexpr long kStepNs = 33'333'333;
constexpr uint16_t kStepPixels = 8;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

struct Disconnect {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

// The same numbers as in support/pattern.mjs: six steps a channel, far enough apart to be told
// from each other after the video codec.
uint32_t blockColour(uint32_t column, uint32_t row, uint32_t seed) {
  const auto channel = [](uint32_t step) { return 20 + 40 * (step % 6); };
  // The sixes keep the pattern from repeating itself where the steps have run through once.
  return channel(column * 3 + row * 5 + seed) << 16 |
         channel(column * 5 + row * 2 + row / 6 + seed) << 8 |
         channel(column * 2 + row * 7 + column / 6 + seed);
}

class Window {
 public:
  explicit Window(uint32_t eventMask)
      : connection_(xcb_connect(nullptr, nullptr)),
        screen_(xcb_setup_roots_iterator(xcb_get_setup(connection())).data) {
    if (xcb_connection_has_error(connection()) != 0) throw std::runtime_error("no X server");
    window_ = xcb_generate_id(connection());
    const uint32_t values[] = {screen_->black_pixel, eventMask | XCB_EVENT_MASK_EXPOSURE |
                                                         XCB_EVENT_MASK_FOCUS_CHANGE |
                                                         XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window_, screen_->root, 0, 0, width(),
                      height(), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    const xcb_atom_t fullScreen = atom("_NET_WM_STATE_FULLSCREEN");
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window_, atom("_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, 1, &fullScreen);
    graphics_ = xcb_generate_id(connection());
    xcb_create_gc(connection(), graphics_, window_, 0, nullptr);
    xcb_map_window(connection(), window_);
    xcb_flush(connection());
  }

  xcb_connection_t* connection() const { return connection_.get(); }
  uint16_t width() const { return screen_->width_in_pixels; }
  uint16_t height() const { return screen_->height_in_pixels; }

  Owned<xcb_generic_event_t> next() const {
    return Owned<xcb_generic_event_t>(xcb_poll_for_event(connection()));
  }

  // Waits until the server, or `also`, has something; returns whether it was `also`.
  bool wait(int also = -1) const {
    xcb_flush(connection());
    pollfd ready[] = {{xcb_get_file_descriptor(connection()), POLLIN, 0}, {also, POLLIN, 0}};
    if (poll(ready, 2, -1) < 0) throw std::runtime_error("poll failed");
    return (ready[1].revents & POLLIN) != 0;
  }

  // To be shown every event. Prints READY when the window covers the screen, has been drawn for the
  // first time and has the keyboard.
  void follow(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7f) {
      case XCB_CONFIGURE_NOTIFY: {
        const auto& size = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        covers_ = size.width == width() && size.height == height();
        break;
      }
      case XCB_EXPOSE:
        exposed_ = true;
        break;
      case XCB_FOCUS_IN:
        focused_ = true;
        break;
    }
    if (ready_ || !covers_ || !exposed_ || !focused_) return;
    ready_ = true;
    // What was drawn so far must be on the screen before anybody looks.
    Owned<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    std::puts("READY");
    std::fflush(stdout);
  }

  // Draws the rows from `firstRow` on, the first of them at `top` pixels.
  void paint(uint32_t seed, uint32_t firstRow = 0, int top = 0) const {
    const uint16_t blockWidth = static_cast<uint16_t>(width() / kColumns);
    const uint16_t blockHeight = static_cast<uint16_t>(height() / kRows);
    for (uint32_t row = 0; top + static_cast<int>(row * blockHeight) < height(); ++row) {
      for (uint32_t column = 0; column < kColumns; ++column) {
        const uint32_t colour = blockColour(column, firstRow + row, seed);
        xcb_change_gc(connection(), graphics_, XCB_GC_FOREGROUND, &colour);
        const xcb_rectangle_t block{static_cast<int16_t>(column * blockWidth),
                                    static_cast<int16_t>(top + static_cast<int>(row * blockHeight)),
                                    blockWidth, blockHeight};
        xcb_poly_fill_rectangle(connection(), window_, graphics_, 1, &block);
      }
    }
    xcb_flush(connection());
  }

 private:
  xcb_atom_t atom(std::string_view name) const {
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection(),
        xcb_intern_atom(connection(), 0, static_cast<uint16_t>(name.size()), name.data()),
        nullptr));
    if (reply == nullptr) throw std::runtime_error("the X server names no atoms");
    return reply->atom;
  }

  std::unique_ptr<xcb_connection_t, Disconnect> connection_;
  xcb_screen_t* screen_;
  xcb_window_t window_ = XCB_NONE;
  xcb_gcontext_t graphics_ = XCB_NONE;
  bool covers_ = false;
  bool exposed_ = false;
  bool focused_ = false;
  bool ready_ = false;
};

// What the keys mean, kept up to date while the mapping changes under our feet: typing of
// characters that the layout lacks remaps keys.
class Keys {
 public:
  explicit Keys(xcb_connection_t* connection)
      : connection_(connection), context_(xkb_context_new(XKB_CONTEXT_NO_FLAGS)) {
    if (xkb_x11_setup_xkb_extension(
            connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent_, nullptr) == 0) {
      throw std::runtime_error("the X server lacks XKEYBOARD");
    }
    const uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                            XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    const uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                              XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, mapParts,
                          mapParts, nullptr);
    // Repetitions of a held key must not look like releases.
    const uint32_t detectable = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    xcb_xkb_per_client_flags_unchecked(connection, XCB_XKB_ID_USE_CORE_KBD, detectable, detectable,
                                       0, 0, 0);
    readMap();
  }

  // True when the event was about the keyboard as such.
  bool follow(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != firstEvent_) return false;
    if (event.pad0 != XCB_XKB_STATE_NOTIFY) {
      readMap();
      return true;
    }
    const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
    xkb_state_update_mask(state_.get(), state.baseMods, state.latchedMods, state.lockedMods,
                          static_cast<xkb_layout_index_t>(state.baseGroup),
                          static_cast<xkb_layout_index_t>(state.latchedGroup), state.lockedGroup);
    return true;
  }

  std::string name(xkb_keycode_t key) const {
    char text[64];
    const int length =
        xkb_keysym_get_name(xkb_state_key_get_one_sym(state_.get(), key), text, sizeof text);
    return length > 0 ? text : "NoSymbol";
  }

  std::string text(xkb_keycode_t key) const {
    char bytes[16];
    const int length = xkb_state_key_get_utf8(state_.get(), key, bytes, sizeof bytes);
    return {bytes, length > 0 ? static_cast<size_t>(length) : 0};
  }

 private:
  void readMap() {
    const int32_t device = xkb_x11_get_core_keyboard_device_id(connection_);
    map_.reset(xkb_x11_keymap_new_from_device(context_.get(), connection_, device,
                                              XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (map_ == nullptr) throw std::runtime_error("the keyboard's mapping cannot be read");
    state_.reset(xkb_x11_state_new_from_device(map_.get(), connection_, device));
    if (state_ == nullptr) throw std::runtime_error("the keyboard's state cannot be read");
  }

  struct Unref {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap* map) const { xkb_keymap_unref(map); }
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
  };

  xcb_connection_t* connection_;
  std::unique_ptr<xkb_context, Unref> context_;
  std::unique_ptr<xkb_keymap, Unref> map_;
  std::unique_ptr<xkb_state, Unref> state_;
  uint8_t firstEvent_ = 0;
};

// Button, motion and key events share one layout as far as it is read here.
std::optional<nlohmann::json> describe(const xcb_generic_event_t& event, const Keys& keys) {
  const auto& input = reinterpret_cast<const xcb_button_press_event_t&>(event);
  nlohmann::json line{
      {"x", input.root_x}, {"y", input.root_y}, {"state", input.state}, {"time", input.time}};
  const auto key = [&](const char* kind) {
    line["event"] = kind;
    line["keycode"] = input.detail;
    line["keysym"] = keys.name(input.detail);
    line["text"] = keys.text(input.detail);
    return line;
  };
  const auto button = [&](const char* kind) {
    line["event"] = kind;
    line["button"] = input.detail;
    return line;
  };
  switch (event.response_type & 0x7f) {
    case XCB_BUTTON_PRESS:
      return button("press");
    case XCB_BUTTON_RELEASE:
      return button("release");
    case XCB_MOTION_NOTIFY:
      line["event"] = "motion";
      return line;
    case XCB_KEY_PRESS:
      return key("key-press");
    case XCB_KEY_RELEASE:
      return key("key-release");
    default:
      return std::nullopt;
  }
}

[[noreturn]] void observe() {
  Window window(XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_KEY_PRESS |
                XCB_EVENT_MASK_KEY_RELEASE);
  Keys keys(window.connection());
  for (;;) {
    while (const auto event = window.next()) {
      window.follow(*event);
      if (keys.follow(*event)) continue;
      if (const auto line = describe(*event, keys)) {
        std::puts(line->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
        std::fflush(stdout);
      }
    }
    window.wait();
  }
}

[[noreturn]] void showPattern(uint32_t seed) {
  Window window(0);
  for (;;) {
    while (const auto event = window.next()) {
      if ((event->response_type & 0x7f) == XCB_EXPOSE) window.paint(seed);
      window.follow(*event);
    }
    window.wait();
  }
}

[[noreturn]] void animate() {
  Window window(0);
  const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const itimerspec every{{0, kStepNs}, {0, kStepNs}};
  if (timer < 0 || timerfd_settime(timer, 0, &every, nullptr) != 0) {
    throw std::runtime_error("no timer");
  }
  const uint16_t blockHeight = static_cast<uint16_t>(window.height() / kRows);
  for (uint32_t step = 0;;) {
    while (const auto event = window.next()) window.follow(*event);
    if (!window.wait(timer)) continue;
    uint64_t expired = 0;
    if (read(timer, &expired, sizeof expired) != sizeof expired) continue;
    const uint32_t offset = ++step * kStepPixels;
    window.paint(0, offset / blockHeight, -static_cast<int>(offset % blockHeight));
  }
}

}  // namespace

int main(int argumentCount, char** arguments) try {
  const std::string_view mode = argumentCount > 1 ? arguments[1] : "";
  if (mode == "observe") observe();
  if (mode == "animate") animate();
  if (mode == "pattern" && argumentCount > 2) {
    showPattern(static_cast<uint32_t>(std::strtoul(arguments[2], nullptr, 10)));
  }
  std::fputs("usage: desktop_probe pattern SEED | animate | observe\n", stderr);
  return 2;
} catch (const std::exception& error) {
  std::fprintf(stderr, "desktop_probe: %s\n", error.what());
  return 1;
}
