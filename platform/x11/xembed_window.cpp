#include "platform/x11/xembed_window.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tovalin {
namespace {

constexpr uint32_t kXembedVersion = 0;
constexpr uint32_t kXembedMapped = 1;  // XEMBED_MAPPED: to be shown once it is taken in

constexpr uint16_t kFirstSize = 22;
constexpr int kLargestPicture = 256;
constexpr uint8_t kArgbDepth = 32;

// WM_SIZE_HINTS, as the conventions between clients lay it out.
constexpr size_t kSizeHintsFields = 18;
constexpr uint32_t kHasMinimumSize = 1U << 4;
constexpr size_t kMinimumWidthField = 5;  // the height follows

// 0 for a visual that the screen does not have.
uint8_t depthOf(xcb_visualid_t wanted, const xcb_screen_t* screen) {
  for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0;
       xcb_depth_next(&depth)) {
    for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
         xcb_visualtype_next(&visual)) {
      if (visual.data->visual_id == wanted) return depth.data->depth;
    }
  }
  return 0;
}

}  // namespace

XembedWindow::XembedWindow(const X11Connection& connection, const X11IconCanvas& canvas,
                           const XembedWindowAtoms& atoms, xcb_visualid_t trayVisual)
    : connection_(connection),
      canvas_(canvas),
      atoms_(atoms),
      id_(xcb_generate_id(connection.get())),
      visual_(trayVisual),
      width_(kFirstSize),
      height_(kFirstSize) {
  xcb_connection_t* server = connection_.get();
  const xcb_screen_t& screen = *connection_.screen();
  uint8_t depth = depthOf(trayVisual, &screen);
  if (depth == 0) {
    visual_ = screen.root_visual;
    depth = screen.root_depth;
  }
  seeThrough_ = depth == kArgbDepth;
  const xcb_colormap_t colours = xcb_generate_id(server);
  xcb_create_colormap(server, XCB_COLORMAP_ALLOC_NONE, colours, screen.root, visual_);
  constexpr uint32_t kEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE |
                               XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE;
  const uint32_t values[] = {0, 0, kEvents, colours};
  xcb_create_window(server, depth, id_, screen.root, 0, 0, kFirstSize, kFirstSize, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, visual_,
                    XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
                    values);
  // The window keeps it for as long as it needs it.
  xcb_free_colormap(server, colours);
  // Trays of GTK's kind give a window the size it asks for: a single pixel if it asks for none.
  std::array<uint32_t, kSizeHintsFields> hints{};
  hints[0] = kHasMinimumSize;
  hints[kMinimumWidthField] = hints[kMinimumWidthField + 1] = kFirstSize;
  xcb_change_property(server, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NORMAL_HINTS,
                      XCB_ATOM_WM_SIZE_HINTS, 32, hints.size(), hints.data());
  const uint32_t info[] = {kXembedVersion, kXembedMapped};
  xcb_change_property(server, XCB_PROP_MODE_REPLACE, id_, atoms_.info, atoms_.info, 32, 2, info);
  constexpr char kClass[] = "tovalin-host\0Tovalin Host";
  xcb_change_property(server, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                      sizeof kClass, kClass);
}

XembedWindow::~XembedWindow() {
  if (id_ != XCB_NONE) xcb_destroy_window(connection_.get(), id_);
}

void XembedWindow::setName(const std::string& name) {
  xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, id_, atoms_.name, atoms_.utf8, 8,
                      static_cast<uint32_t>(name.size()), name.data());
}

void XembedWindow::takeBackgroundOfParent() {
  // A window with an alpha channel is see-through by itself. The server refuses where the depths
  // differ; the background then stays black.
  if (seeThrough_) return;
  const uint32_t parentRelative = XCB_BACK_PIXMAP_PARENT_RELATIVE;
  xcb_change_window_attributes(connection_.get(), id_, XCB_CW_BACK_PIXMAP, &parentRelative);
}

bool XembedWindow::resized(const xcb_configure_notify_event_t& event) {
  if (event.window != id_ || (event.width == width_ && event.height == height_)) return false;
  width_ = event.width;
  height_ = event.height;
  return true;
}

int XembedWindow::pictureSize() const {
  return std::min({width_, height_, kLargestPicture});
}

void XembedWindow::paint(const IconPicture& picture) {
  canvas_.paint(picture, id_, visual_, width_, height_);
}

std::optional<TrayArea> XembedWindow::clicked(const xcb_button_press_event_t& event) {
  const bool counts = event.detail == XCB_BUTTON_INDEX_1 || event.detail == XCB_BUTTON_INDEX_3;
  if (event.event != id_ || !counts) return std::nullopt;
  if ((event.response_type & 0x7f) == XCB_BUTTON_PRESS) {
    pressed_ = true;
    return std::nullopt;
  }
  // A click is over when the button is let go: until then the server gives the pointer to this
  // window, and a panel could not have it. Without a press it is none: a panel that closes on a
  // press beside it leaves the letting go to whatever is below.
  const bool inside =
      event.event_x >= 0 && event.event_y >= 0 && event.event_x < width_ && event.event_y < height_;
  if (!std::exchange(pressed_, false) || !inside) return std::nullopt;
  return TrayArea{event.root_x - event.event_x, event.root_y - event.event_y, width_, height_};
}

}  // namespace tovalin
