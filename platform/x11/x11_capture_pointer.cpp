#include "platform/x11/x11_capture_pointer.h"

#include <xcb/xinput.h>

namespace tovalin {
namespace {

// Animated cursors take turns through a dozen or two; a theme has fewer than a hundred.
constexpr size_t kShapesKept = 128;

}  // namespace

PointerWatch::PointerWatch(const X11Connection& connection, const PlacedDisplay& display, bool show,
                           CaptureNotices& notices)
    : connection_(connection), display_(display) {
  if (!show) return;
  xcb_connection_t* c = connection.get();
  const auto* extension = connection.extension(&xcb_xfixes_id);
  // The server refuses every other request of this extension until the version is agreed on.
  const XcbOwned<xcb_xfixes_query_version_reply_t> version(
      extension == nullptr
          ? nullptr
          : xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr));
  if (version == nullptr) {
    notices.once("[Tovalin] the x server tells no cursor images, the pointer is not shown");
    return;
  }
  firstEvent_ = extension->first_event;
  xcb_xfixes_select_cursor_input(c, connection.root(),
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
  watchMotion();
  if (!reportsMotion()) {
    notices.once("[Tovalin] the x server reports no pointer motion, asking for it instead");
  }
  shapeUnknown_ = true;
  suspected_ = true;
}

void PointerWatch::watchMotion() {
  xcb_connection_t* c = connection_.get();
  const auto* extension = connection_.extension(&xcb_input_id);
  if (extension == nullptr) return;
  // From 2.1 on, raw events come whoever holds a grab, to clients that say they know.
  const XcbOwned<xcb_input_xi_query_version_reply_t> version(
      xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
  if (version == nullptr || version->major_version < 2) return;
  const struct {
    xcb_input_event_mask_t head;
    uint32_t mask;
  } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
  const XcbOwned<xcb_generic_error_t> refused(xcb_request_check(
      c, xcb_input_xi_select_events_checked(c, connection_.root(), 1, &selection.head)));
  if (refused == nullptr) inputOpcode_ = extension->major_opcode;
}

void PointerWatch::handle(const xcb_generic_event_t& event) {
  if (!shows()) return;
  const int type = event.response_type & 0x7f;
  if (type == firstEvent_ + XCB_XFIXES_CURSOR_NOTIFY) {
    const auto& notify = reinterpret_cast<const xcb_xfixes_cursor_notify_event_t&>(event);
    const auto known = shapes_.find(notify.cursor_serial);
    shapeUnknown_ = known == shapes_.end();
    if (!shapeUnknown_) shape_ = known->second;
    suspected_ = true;
  } else if (type == XCB_GE_GENERIC && reportsMotion()) {
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (generic.extension == inputOpcode_ && generic.event_type == XCB_INPUT_RAW_MOTION) {
      // What the server reported before it told the position is in the position.
      suspected_ |= static_cast<int32_t>(event.full_sequence - positionRequest_.sequence) >= 0;
    }
  }
}

void PointerWatch::ask() {
  if (!shows()) return;
  positionRequest_ = xcb_query_pointer(connection_.get(), connection_.root());
  if (shapeUnknown_) shapeRequest_ = xcb_xfixes_get_cursor_image(connection_.get());
  suspected_ = false;
}

void PointerWatch::collect() {
  if (!shows()) return;
  xcb_connection_t* c = connection_.get();
  const XcbOwned<xcb_query_pointer_reply_t> position(
      xcb_query_pointer_reply(c, positionRequest_, nullptr));
  if (shapeUnknown_) {
    shapeUnknown_ = false;
    const XcbOwned<xcb_xfixes_get_cursor_image_reply_t> image(
        xcb_xfixes_get_cursor_image_reply(c, shapeRequest_, nullptr));
    // An error means that there is none at the moment.
    shape_ = nullptr;
    if (image != nullptr) keepShape(*image);
  }
  cursor_ = {};
  if (position == nullptr || position->same_screen == 0 || shape_ == nullptr) return;
  cursor_.shape = shape_;
  cursor_.left = position->root_x - shape_->hotX - display_.left;
  cursor_.top = position->root_y - shape_->hotY - display_.top;
}

void PointerWatch::keepShape(const xcb_xfixes_get_cursor_image_reply_t& image) {
  auto shape = std::make_shared<CursorShape>();
  shape->width = image.width;
  shape->height = image.height;
  shape->hotX = image.xhot;
  shape->hotY = image.yhot;
  const uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(&image);
  shape->pixels.assign(pixels, pixels + xcb_xfixes_get_cursor_image_cursor_image_length(&image));
  if (shapes_.size() >= kShapesKept) shapes_.clear();
  shape_ = shape;
  shapes_[image.cursor_serial] = std::move(shape);
}

void PointerWatch::lookAgain() {
  if (!shows()) return;
  const bool suspectedBefore = suspected_;
  const PlacedCursor before = cursor_;
  ask();
  collect();
  suspected_ = suspectedBefore || cursor_ != before;
}

}  // namespace tovalin
