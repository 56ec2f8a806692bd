#include "tests/integration/x11_input/screen_client.h"

#include <xcb/randr.h>
#include <xcb/screensaver.h>

#include <cstdlib>
#include <stdexcept>

namespace tovalin::test {
namespace {

template <typename Reply>
XcbOwned<Reply> present(Reply* reply) {
  if (reply == nullptr) throw std::runtime_error("the server refused a request");
  return XcbOwned<Reply>(reply);
}

}  // namespace

void ScreenClient::resize(uint16_t width, uint16_t height) {
  xcb_connection_t* c = connection_.get();
  const xcb_window_t root = connection_.root();
  const auto resources = present(xcb_randr_get_screen_resources_current_reply(
      c, xcb_randr_get_screen_resources_current(c, root), nullptr));
  const xcb_randr_crtc_t crtc = *xcb_randr_get_screen_resources_current_crtcs(resources.get());
  xcb_randr_output_t output = *xcb_randr_get_screen_resources_current_outputs(resources.get());

  const std::string name = std::to_string(width) + "x" + std::to_string(height);
  xcb_randr_mode_info_t info{};
  info.width = width;
  info.height = height;
  info.name_len = static_cast<uint16_t>(name.size());
  const auto mode = present(xcb_randr_create_mode_reply(
      c, xcb_randr_create_mode(c, root, info, info.name_len, name.c_str()), nullptr));
  xcb_randr_add_output_mode(c, output, mode->mode);
  const auto place = [&](xcb_randr_mode_t shown, uint32_t outputs) {
    present(xcb_randr_set_crtc_config_reply(
        c,
        xcb_randr_set_crtc_config(c, crtc, XCB_CURRENT_TIME, XCB_CURRENT_TIME, 0, 0, shown,
                                  XCB_RANDR_ROTATION_ROTATE_0, outputs, &output),
        nullptr));
  };
  place(XCB_NONE, 0);
  xcb_randr_set_screen_size(c, root, width, height, 100, 100);
  place(mode->mode, 1);
}

void ScreenClient::startScreenSaver() {
  free(xcb_request_check(connection_.get(), xcb_force_screen_saver_checked(
                                                connection_.get(), XCB_SCREEN_SAVER_ACTIVE)));
}

void ScreenClient::setScreenSaverTimeout(int16_t seconds) {
  free(xcb_request_check(connection_.get(), xcb_set_screen_saver_checked(connection_.get(), seconds,
                                                                         0, XCB_BLANKING_PREFERRED,
                                                                         XCB_EXPOSURES_ALLOWED)));
}

bool ScreenClient::screenSaverIsOn() const {
  const auto info = present(xcb_screensaver_query_info_reply(
      connection_.get(), xcb_screensaver_query_info(connection_.get(), connection_.root()),
      nullptr));
  return info->state == XCB_SCREENSAVER_STATE_ON;
}

uint32_t ScreenClient::idleMs() const {
  const auto info = present(xcb_screensaver_query_info_reply(
      connection_.get(), xcb_screensaver_query_info(connection_.get(), connection_.root()),
      nullptr));
  return info->ms_since_user_input;
}

}  // namespace tovalin::test
