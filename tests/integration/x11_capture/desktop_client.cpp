#include "tests/integration/x11_capture/desktop_client.h"

#include <xcb/randr.h>
#include <xcb/xtest.h>

#include <stdexcept>

namespace tovalin::test {
namespace {

template <typename Reply>
XcbOwned<Reply> required(Reply* reply) {
  if (reply == nullptr) throw std::runtime_error("the X server did not answer");
  return XcbOwned<Reply>(reply);
}

}  // namespace

DesktopClient::DesktopClient(const std::string& display) : connection_(display) {
  if (!connection_.alive()) throw std::runtime_error("no connection to " + display);
  xcb_connection_t* c = connection_.get();
  context_ = xcb_generate_id(c);
  const uint32_t values[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
  xcb_create_gc(c, context_, connection_.root(), XCB_GC_SUBWINDOW_MODE, values);
  sync();
}

void DesktopClient::sync() {
  required(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()),
                                     nullptr));
}

void DesktopClient::fill(int x, int y, int width, int height, uint32_t color) {
  fill({{x, y, width, height, color}});
}

void DesktopClient::fill(const std::vector<Fill>& fills) {
  xcb_connection_t* c = connection_.get();
  for (const Fill& fill : fills) {
    const uint32_t values[] = {fill.color};
    xcb_change_gc(c, context_, XCB_GC_FOREGROUND, values);
    const xcb_rectangle_t area = {static_cast<int16_t>(fill.x), static_cast<int16_t>(fill.y),
                                  static_cast<uint16_t>(fill.width),
                                  static_cast<uint16_t>(fill.height)};
    xcb_poly_fill_rectangle(c, connection_.root(), context_, 1, &area);
  }
  sync();
}

void DesktopClient::movePointer(int x, int y) {
  xcb_test_fake_input(connection_.get(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, connection_.root(),
                      static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
  sync();
}

void DesktopClient::warpPointer(int x, int y) {
  xcb_warp_pointer(connection_.get(), XCB_NONE, connection_.root(), 0, 0, 0, 0,
                   static_cast<int16_t>(x), static_cast<int16_t>(y));
  sync();
}

void DesktopClient::setCursor(int size, uint32_t color) {
  xcb_connection_t* c = connection_.get();
  const auto side = static_cast<uint16_t>(size);
  const xcb_pixmap_t solid = xcb_generate_id(c);
  xcb_create_pixmap(c, 1, solid, connection_.root(), side, side);
  const xcb_gcontext_t context = xcb_generate_id(c);
  const uint32_t foreground[] = {1};
  xcb_create_gc(c, context, solid, XCB_GC_FOREGROUND, foreground);
  const xcb_rectangle_t all = {0, 0, side, side};
  xcb_poly_fill_rectangle(c, solid, context, 1, &all);
  const xcb_cursor_t cursor = xcb_generate_id(c);
  const auto channel = [color](int shift) {
    return static_cast<uint16_t>(((color >> shift) & 0xff) * 0x101);
  };
  xcb_create_cursor(c, cursor, solid, solid, channel(16), channel(8), channel(0), 0, 0, 0, side / 2,
                    side / 2);
  const uint32_t values[] = {cursor};
  xcb_change_window_attributes(c, connection_.root(), XCB_CW_CURSOR, values);
  xcb_free_pixmap(c, solid);
  xcb_free_gc(c, context);
  xcb_free_cursor(c, cursor);
  sync();
}

std::vector<uint32_t> DesktopClient::screen(int width, int height) {
  const auto reply = required(xcb_get_image_reply(
      connection_.get(),
      xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), 0, 0,
                    static_cast<uint16_t>(width), static_cast<uint16_t>(height), ~0U),
      nullptr));
  const auto* words = reinterpret_cast<const uint32_t*>(xcb_get_image_data(reply.get()));
  std::vector<uint32_t> pixels(words, words + static_cast<ptrdiff_t>(width) * height);
  for (uint32_t& pixel : pixels) pixel &= 0xffffff;
  return pixels;
}

void DesktopClient::switchOff() {
  xcb_connection_t* c = connection_.get();
  const auto resources = required(xcb_randr_get_screen_resources_current_reply(
      c, xcb_randr_get_screen_resources_current(c, connection_.root()), nullptr));
  const xcb_randr_crtc_t crtc = *xcb_randr_get_screen_resources_current_crtcs(resources.get());
  required(xcb_randr_set_crtc_config_reply(
      c,
      xcb_randr_set_crtc_config(c, crtc, XCB_CURRENT_TIME, resources->config_timestamp, 0, 0,
                                XCB_NONE, XCB_RANDR_ROTATION_ROTATE_0, 0, nullptr),
      nullptr));
}

void DesktopClient::resize(int width, int height) {
  switchOff();
  const auto w = static_cast<uint16_t>(width);
  const auto h = static_cast<uint16_t>(height);
  xcb_randr_set_screen_size(connection_.get(), connection_.root(), w, h, w, h);
  showPart(0, 0, width, height);
}

void DesktopClient::showPart(int x, int y, int width, int height) {
  xcb_connection_t* c = connection_.get();
  const auto w = static_cast<uint16_t>(width);
  const auto h = static_cast<uint16_t>(height);
  const auto resources = required(xcb_randr_get_screen_resources_current_reply(
      c, xcb_randr_get_screen_resources_current(c, connection_.root()), nullptr));
  const xcb_randr_crtc_t crtc = *xcb_randr_get_screen_resources_current_crtcs(resources.get());
  const xcb_randr_output_t output =
      *xcb_randr_get_screen_resources_current_outputs(resources.get());
  // Names may not occur twice.
  const std::string name = std::to_string(width) + "x" + std::to_string(height) + "+" +
                           std::to_string(x) + "+" + std::to_string(y);
  xcb_randr_mode_info_t mode{};
  mode.width = w;
  mode.height = h;
  mode.name_len = static_cast<uint16_t>(name.size());
  const auto created = required(xcb_randr_create_mode_reply(
      c,
      xcb_randr_create_mode(c, connection_.root(), mode, static_cast<uint32_t>(name.size()),
                            name.c_str()),
      nullptr));
  xcb_randr_add_output_mode(c, output, created->mode);
  const auto set = required(xcb_randr_set_crtc_config_reply(
      c,
      xcb_randr_set_crtc_config(c, crtc, XCB_CURRENT_TIME, resources->config_timestamp,
                                static_cast<int16_t>(x), static_cast<int16_t>(y), created->mode,
                                XCB_RANDR_ROTATION_ROTATE_0, 1, &output),
      nullptr));
  if (set->status != XCB_RANDR_SET_CONFIG_SUCCESS) throw std::runtime_error("no such mode");
}

}  // namespace tovalin::test
