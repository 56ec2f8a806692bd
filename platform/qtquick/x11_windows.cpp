#include "platform/qtquick/x11_windows.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QTimer>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace tovalin {
namespace {

struct FreeReply {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

// Another window that insists on being on top as well must not start a race.
constexpr int kRaiseAgainAfterMs = 200;

xcb_connection_t* connection() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 == nullptr ? nullptr : x11->connection();
}

xcb_atom_t atom(xcb_connection_t& server, const std::string& name) {
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      &server, xcb_intern_atom(&server, 0, static_cast<uint16_t>(name.size()), name.data()),
      nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

}  // namespace

bool hasCompositor() {
  xcb_connection_t* server = connection();
  if (server == nullptr) return false;
  // Selections are per screen; a desktop of today has one.
  const std::string name = "_NET_WM_CM_S0";
  const Reply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
      server, xcb_intern_atom(server, 0, static_cast<uint16_t>(name.size()), name.data()),
      nullptr));
  if (!atom) return false;
  const Reply<xcb_get_selection_owner_reply_t> owner(
      xcb_get_selection_owner_reply(server, xcb_get_selection_owner(server, atom->atom), nullptr));
  return owner && owner->owner != XCB_NONE;
}

void makePanel(QWindow& window) {
  xcb_connection_t* server = connection();
  if (server == nullptr) return;
  const auto id = static_cast<xcb_window_t>(window.winId());
  const Reply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(server, xcb_query_tree(server, id), nullptr));
  if (!tree) return;
  const auto add = [&](const char* first, const char* second) {
    constexpr uint32_t kAdd = 1;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = id;
    message.type = atom(*server, "_NET_WM_STATE");
    message.data.data32[0] = kAdd;
    message.data.data32[1] = atom(*server, first);
    message.data.data32[2] = second == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : atom(*server, second);
    message.data.data32[3] = 1;  // from an application
    xcb_send_event(server, 0, tree->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
  };
  add("_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER");
  add("_NET_WM_STATE_ABOVE", nullptr);
  xcb_flush(server);
}

void shapeWindow(QWindow& window, const QRegion& shape) {
  xcb_connection_t* server = connection();
  if (server == nullptr) return;
  std::vector<xcb_rectangle_t> rectangles;
  for (const QRect& rect : shape) {
    rectangles.push_back({static_cast<int16_t>(rect.x()), static_cast<int16_t>(rect.y()),
                          static_cast<uint16_t>(rect.width()),
                          static_cast<uint16_t>(rect.height())});
  }
  xcb_shape_rectangles(server, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                       static_cast<xcb_window_t>(window.winId()), 0, 0,
                       static_cast<uint32_t>(rectangles.size()), rectangles.data());
  xcb_flush(server);
}

StayOnTop::StayOnTop(QWindow& window) : window_(window) {
  xcb_connection_t* server = connection();
  if (server == nullptr) return;
  const auto id = static_cast<xcb_window_t>(window.winId());
  const Reply<xcb_get_window_attributes_reply_t> attributes(
      xcb_get_window_attributes_reply(server, xcb_get_window_attributes(server, id), nullptr));
  if (!attributes) return;
  // Qt selects its own events on the same connection; ours come on top of those.
  const uint32_t mask = attributes->your_event_mask | XCB_EVENT_MASK_VISIBILITY_CHANGE;
  xcb_change_window_attributes(server, id, XCB_CW_EVENT_MASK, &mask);
  xcb_flush(server);
  qGuiApp->installNativeEventFilter(this);
}

StayOnTop::~StayOnTop() {
  qGuiApp->removeNativeEventFilter(this);
}

bool StayOnTop::nativeEventFilter(const QByteArray& eventType, void* message, qintptr* /*result*/) {
  if (eventType != "xcb_generic_event_t") return false;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  if ((event->response_type & 0x7F) != XCB_VISIBILITY_NOTIFY) return false;
  const auto* visibility = reinterpret_cast<const xcb_visibility_notify_event_t*>(event);
  if (visibility->window != window_.winId()) return false;
  if (visibility->state != XCB_VISIBILITY_UNOBSCURED) {
    QTimer::singleShot(kRaiseAgainAfterMs, &window_, [window = &window_] {
      window->raise();
      // Qt sends what is waiting when the next event comes; nothing may come for long.
      xcb_flush(connection());
    });
  }
  return true;
}

}  // namespace tovalin
