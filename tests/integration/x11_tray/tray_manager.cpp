#include "tests/integration/x11_tray/tray_manager.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <stdexcept>

namespace tovalin::test {
namespace {

template <typename Reply>
XcbOwned<Reply> owned(Reply* reply) {
  if (reply == nullptr) throw std::runtime_error("the X server refused a question");
  return XcbOwned<Reply>(reply);
}

xcb_visualid_t argbVisual(const xcb_screen_t* screen) {
  for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0;
       xcb_depth_next(&depth)) {
    if (depth.data->depth == 32) return xcb_depth_visuals_iterator(depth.data).data->visual_id;
  }
  throw std::runtime_error("no visual of depth 32");
}

}  // namespace

TrayManager::TrayManager(DescriptorWatcher& watcher, const std::string& display,
                         const Options& options)
    : options_(options), connection_(display), iconSize_(options.iconSize) {
  if (!connection_.alive()) throw std::runtime_error("no X server");
  xcb_connection_t* server = connection_.get();
  window_ = xcb_generate_id(server);
  const uint32_t values[] = {options_.background, 1, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY};
  xcb_create_window(server, XCB_COPY_FROM_PARENT, window_, connection_.root(), kX, kY, kWidth,
                    kHeight, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
  xcb_map_window(server, window_);
  if (options_.argb) {
    const xcb_visualid_t visual = argbVisual(connection_.screen());
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, window_, atom("_NET_SYSTEM_TRAY_VISUAL"),
                        XCB_ATOM_VISUALID, 32, 1, &visual);
  }
  becomeOwner();
  watch_ = watcher.onReadable(xcb_get_file_descriptor(server), [this] { process(); });
  process();
}

TrayManager::~TrayManager() {
  watch_.reset();
}

xcb_atom_t TrayManager::atom(const std::string& name) {
  xcb_connection_t* server = connection_.get();
  return owned(xcb_intern_atom_reply(
                   server,
                   xcb_intern_atom(server, 0, static_cast<uint16_t>(name.size()), name.data()),
                   nullptr))
      ->atom;
}

void TrayManager::roundTrip() {
  xcb_connection_t* server = connection_.get();
  owned(xcb_get_input_focus_reply(server, xcb_get_input_focus(server), nullptr));
}

void TrayManager::becomeOwner() {
  xcb_connection_t* server = connection_.get();
  const xcb_atom_t tray = atom("_NET_SYSTEM_TRAY_S0");
  xcb_set_selection_owner(server, window_, tray, XCB_CURRENT_TIME);
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = connection_.root();
  message.type = atom("MANAGER");
  message.data.data32[1] = tray;
  message.data.data32[2] = window_;
  xcb_send_event(server, 0, connection_.root(), XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&message));
  roundTrip();
}

void TrayManager::process() {
  while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) continue;
    const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
    const bool dock =
        message.type == atom("_NET_SYSTEM_TRAY_OPCODE") && message.data.data32[1] == 0;
    if (dock) takeIn(message.data.data32[2]);
  }
  xcb_flush(connection_.get());
}

void TrayManager::takeIn(xcb_window_t icon) {
  xcb_connection_t* server = connection_.get();
  if (options_.savesIcons) xcb_change_save_set(server, XCB_SET_MODE_INSERT, icon);
  xcb_reparent_window(server, icon, window_, 0, 0);
  docked_.push_back(icon);
  resizeIcons(options_.iconSize > 0 ? iconSize_ : askedSize(icon));
  xcb_map_window(server, icon);
  xcb_flush(server);
}

int TrayManager::askedSize(xcb_window_t icon) {
  xcb_connection_t* server = connection_.get();
  const auto hints = owned(xcb_get_property_reply(
      server,
      xcb_get_property(server, 0, icon, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 0, 18),
      nullptr));
  const auto* fields = static_cast<const uint32_t*>(xcb_get_property_value(hints.get()));
  const bool asks = xcb_get_property_value_length(hints.get()) == 18 * 4 && (fields[0] & 16) != 0;
  return asks && fields[5] == fields[6] ? static_cast<int>(fields[5]) : 1;
}

void TrayManager::resizeIcons(int size) {
  iconSize_ = size;
  if (docked_.empty()) return;
  const uint32_t values[] = {static_cast<uint32_t>((kWidth - size) / 2),
                             static_cast<uint32_t>((kHeight - size) / 2),
                             static_cast<uint32_t>(size), static_cast<uint32_t>(size)};
  xcb_configure_window(connection_.get(), docked_.back(),
                       XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                           XCB_CONFIG_WINDOW_HEIGHT,
                       values);
  xcb_flush(connection_.get());
}

bool TrayManager::showsIcon() {
  process();
  return !docked_.empty() && isViewable(connection_, docked_.back());
}

std::vector<uint32_t> TrayManager::pixels() {
  xcb_connection_t* server = connection_.get();
  const auto image =
      owned(xcb_get_image_reply(server,
                                xcb_get_image(server, XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(),
                                              kX, kY, kWidth, kHeight, ~0U),
                                nullptr));
  const auto* data = reinterpret_cast<const uint32_t*>(xcb_get_image_data(image.get()));
  std::vector<uint32_t> pixels(data, data + size_t{kWidth} * kHeight);
  // Waiting for the answer may have read events as well, which then wake nobody.
  process();
  for (auto& pixel : pixels) pixel &= 0xffffff;
  return pixels;
}

int TrayManager::paintedPixels() {
  const auto all = pixels();
  return static_cast<int>(std::count_if(
      all.begin(), all.end(), [this](uint32_t pixel) { return pixel != options_.background; }));
}

int TrayManager::iconX() const {
  return kX + (kWidth - iconSize_) / 2;
}

int TrayManager::iconY() const {
  return kY + (kHeight - iconSize_) / 2;
}

void TrayManager::fake(uint8_t type, uint8_t detail, int x, int y) {
  xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, connection_.root(),
                      static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
  roundTrip();
  process();
}

void TrayManager::moveToIcon() {
  fake(XCB_MOTION_NOTIFY, 0, iconX() + iconSize_ / 2, iconY() + iconSize_ / 2);
}

void TrayManager::moveAway() {
  fake(XCB_MOTION_NOTIFY, 0, 2, 2);
}

void TrayManager::press(int button) {
  fake(XCB_BUTTON_PRESS, static_cast<uint8_t>(button), 0, 0);
}

void TrayManager::release(int button) {
  fake(XCB_BUTTON_RELEASE, static_cast<uint8_t>(button), 0, 0);
}

void TrayManager::click(int button) {
  moveToIcon();
  press(button);
  release(button);
}

bool isViewable(const X11Connection& connection, xcb_window_t window) {
  xcb_connection_t* server = connection.get();
  xcb_generic_error_t* error = nullptr;
  const XcbOwned<xcb_get_window_attributes_reply_t> attributes(
      xcb_get_window_attributes_reply(server, xcb_get_window_attributes(server, window), &error));
  const XcbOwned<xcb_generic_error_t> gone(error);
  return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

std::vector<xcb_window_t> viewableTopLevels(const X11Connection& connection) {
  xcb_connection_t* server = connection.get();
  const auto tree =
      owned(xcb_query_tree_reply(server, xcb_query_tree(server, connection.root()), nullptr));
  std::vector<xcb_window_t> viewable;
  const xcb_window_t* children = xcb_query_tree_children(tree.get());
  std::copy_if(children, children + xcb_query_tree_children_length(tree.get()),
               std::back_inserter(viewable),
               [&](xcb_window_t window) { return isViewable(connection, window); });
  return viewable;
}

}  // namespace tovalin::test
