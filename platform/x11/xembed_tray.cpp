#include "platform/x11/xembed_tray.h"

#include <xcb/xcbext.h>

#include <array>
#include <cstring>
#include <utility>

#include "platform/weak_task.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_icon_canvas.h"
#include "platform/x11/xembed_window.h"

namespace tovalin {
namespace {

constexpr uint32_t kRequestDock = 0;  // SYSTEM_TRAY_REQUEST_DOCK

template <typename Event>
const Event& eventAs(const xcb_generic_event_t& event) {
  return reinterpret_cast<const Event&>(event);
}

uint8_t typeOf(const xcb_generic_event_t& event) {
  return event.response_type & 0x7f;  // without the mark of events that a client has sent
}

xcb_visualid_t visualIn(const xcb_get_property_reply_t* property) {
  xcb_visualid_t visual = XCB_NONE;
  const bool fits = property != nullptr && property->format == 32 &&
                    xcb_get_property_value_length(property) == sizeof visual;
  if (fits) std::memcpy(&visual, xcb_get_property_value(property), sizeof visual);
  return visual;
}

// What hears of trays, and asks them to take in the icon's window.
class Dock : public std::enable_shared_from_this<Dock> {
 public:
  Dock(MainQueue& queue, DescriptorWatcher& watcher, IconPainter painter,
       const std::string& displayName, TrayActions actions)
      : queue_(queue),
        watcher_(watcher),
        painter_(std::move(painter)),
        actions_(std::move(actions)),
        connection_(displayName),
        canvas_(connection_) {}

  // Apart from the construction, because what is posted needs a shared owner.
  void start() {
    if (!connection_.alive() || !canvas_.usable()) return know(false);
    internAtoms();
    // Trays say on the root window that they have come.
    selectEvents(connection_.root());
    ownerAsked_ = xcb_get_selection_owner(connection_.get(), tray_);
    xcb_flush(connection_.get());
    watch_ = watcher_.onReadable(xcb_get_file_descriptor(connection_.get()), [this] { process(); });
    processLater();
  }

  void update(const TrayContent& content) {
    if (content == content_) return;
    content_ = content;
    if (!window_) return;
    window_->setName(content_.toolTip);
    paint();
    xcb_flush(connection_.get());
    processLater();
  }

  bool isShown() const { return shown_.value_or(false); }

 private:
  void internAtoms() {
    const std::pair<std::string, xcb_atom_t&> names[] = {
        {"_NET_SYSTEM_TRAY_S" + std::to_string(screenNumber()), tray_},
        {"_NET_SYSTEM_TRAY_OPCODE", opcode_},
        {"_NET_SYSTEM_TRAY_VISUAL", trayVisual_},
        {"MANAGER", manager_},
        {"_XEMBED_INFO", windowAtoms_.info},
        {"_NET_WM_NAME", windowAtoms_.name},
        {"UTF8_STRING", windowAtoms_.utf8},
    };
    xcb_connection_t* server = connection_.get();
    std::array<xcb_intern_atom_cookie_t, std::size(names)> asked;
    for (size_t i = 0; i < asked.size(); ++i) {
      const auto& name = names[i].first;
      asked[i] = xcb_intern_atom(server, 0, static_cast<uint16_t>(name.size()), name.data());
    }
    for (size_t i = 0; i < asked.size(); ++i) {
      const XcbOwned<xcb_intern_atom_reply_t> reply(
          xcb_intern_atom_reply(server, asked[i], nullptr));
      if (reply) names[i].second = reply->atom;
    }
  }

  int screenNumber() const {
    int number = 0;
    for (auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())); roots.rem > 0;
         xcb_screen_next(&roots), ++number) {
      if (roots.data == connection_.screen()) return number;
    }
    return 0;
  }

  void selectEvents(xcb_window_t window) {
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &mask);
  }

  // Writing to the server may read what it sent as well, and then nothing wakes the loop for it.
  void processLater() {
    queue_.post(weakly(shared_from_this(), [](Dock& alive) { alive.process(); }));
  }

  void process() {
    xcb_connection_t* server = connection_.get();
    for (bool progress = true; progress;) {
      progress = takeAnswers();
      while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_event(server)}) {
        progress = true;
        handle(*event);
      }
      xcb_flush(server);
    }
    if (connection_.alive()) return;
    watch_.reset();
    know(false);
  }

  bool takeAnswers() {
    const auto owner = answer<xcb_get_selection_owner_reply_t>(ownerAsked_);
    if (owner && *owner && (*owner)->owner != XCB_NONE) {
      dockInto((*owner)->owner);
    } else if (owner && owner_ == XCB_NONE) {
      know(false);
    }
    const auto visual = answer<xcb_get_property_reply_t>(visualAsked_);
    if (visual) requestDock(visualIn(visual->get()));
    return owner || visual;
  }

  // What has come of a question: nothing yet, or an answer, which is null for an error.
  template <typename Reply, typename Cookie>
  std::optional<XcbOwned<Reply>> answer(std::optional<Cookie>& asked) {
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (!asked || xcb_poll_for_reply(connection_.get(), asked->sequence, &reply, &error) == 0) {
      return std::nullopt;
    }
    const XcbOwned<xcb_generic_error_t> refused(error);
    asked.reset();
    return XcbOwned<Reply>(static_cast<Reply*>(reply));
  }

  void handle(const xcb_generic_event_t& event) {
    switch (typeOf(event)) {
      case XCB_CLIENT_MESSAGE:
        return heard(eventAs<xcb_client_message_event_t>(event));
      case XCB_DESTROY_NOTIFY:
        return destroyed(eventAs<xcb_destroy_notify_event_t>(event).window);
      case XCB_REPARENT_NOTIFY:
        return reparented(eventAs<xcb_reparent_notify_event_t>(event));
      case XCB_CONFIGURE_NOTIFY:
        if (window_ && window_->resized(eventAs<xcb_configure_notify_event_t>(event))) paint();
        return;
      case XCB_EXPOSE:
        return paint();
      case XCB_BUTTON_PRESS:
      case XCB_BUTTON_RELEASE:
        return clicked(eventAs<xcb_button_press_event_t>(event));
      default:
        return;
    }
  }

  void heard(const xcb_client_message_event_t& message) {
    const bool trayHasCome = message.type == manager_ && message.data.data32[1] == tray_;
    if (trayHasCome) dockInto(message.data.data32[2]);
  }

  // Asks the tray for its visual, which the window has to be made with.
  void dockInto(xcb_window_t owner) {
    const bool docking = window_ || visualAsked_;
    if (owner == owner_ && docking) return;
    leave();
    owner_ = owner;
    selectEvents(owner);
    visualAsked_ =
        xcb_get_property(connection_.get(), 0, owner, trayVisual_, XCB_ATOM_VISUALID, 0, 1);
  }

  void requestDock(xcb_visualid_t visual) {
    window_.emplace(connection_, canvas_, windowAtoms_, visual);
    window_->setName(content_.toolTip);
    xcb_client_message_event_t request{};
    request.response_type = XCB_CLIENT_MESSAGE;
    request.format = 32;
    request.window = owner_;
    request.type = opcode_;
    request.data.data32[0] = XCB_CURRENT_TIME;
    request.data.data32[1] = kRequestDock;
    request.data.data32[2] = window_->id();
    xcb_send_event(connection_.get(), 0, owner_, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&request));
  }

  void destroyed(xcb_window_t window) {
    if (window_ && window == window_->id()) {
      window_->forget();
      leave();
    } else if (window == owner_) {
      leave();
      owner_ = XCB_NONE;
    }
  }

  void reparented(const xcb_reparent_notify_event_t& event) {
    if (!window_ || event.window != window_->id()) return;
    if (event.parent == connection_.root()) {
      // The tray has ended, and the server has saved the window, which would now stand alone.
      leave();
    } else {
      window_->takeBackgroundOfParent();
      know(true);
    }
  }

  void leave() {
    visualAsked_.reset();
    window_.reset();
    if (shown_) know(false);
  }

  void paint() {
    if (!window_ || content_.symbol.empty()) return;
    window_->paint(painter_(content_.symbol, window_->pictureSize()));
  }

  void clicked(const xcb_button_press_event_t& event) {
    const auto area = window_ ? window_->clicked(event) : std::nullopt;
    if (area && actions_.activated) actions_.activated(area);
  }

  void know(bool shown) {
    if (shown_ == shown) return;
    shown_ = shown;
    queue_.post(weakly(shared_from_this(), [](Dock& alive) {
      if (alive.actions_.shownChanged) alive.actions_.shownChanged();
    }));
  }

  MainQueue& queue_;
  DescriptorWatcher& watcher_;
  const IconPainter painter_;
  const TrayActions actions_;
  const X11Connection connection_;
  const X11IconCanvas canvas_;
  xcb_atom_t tray_ = XCB_NONE;  // the selection that a tray owns
  xcb_atom_t opcode_ = XCB_NONE;
  xcb_atom_t trayVisual_ = XCB_NONE;
  xcb_atom_t manager_ = XCB_NONE;
  XembedWindowAtoms windowAtoms_;

  TrayContent content_;
  std::optional<bool> shown_;      // empty until it is known
  xcb_window_t owner_ = XCB_NONE;  // the tray's window
  std::optional<XembedWindow> window_;
  std::optional<xcb_get_selection_owner_cookie_t> ownerAsked_;
  std::optional<xcb_get_property_cookie_t> visualAsked_;
  std::unique_ptr<Subscription> watch_;  // last: goes before the connection
};

class XembedTrayIcon : public TrayIcon {
 public:
  explicit XembedTrayIcon(std::shared_ptr<Dock> dock) : dock_(std::move(dock)) { dock_->start(); }
  void update(const TrayContent& content) override { dock_->update(content); }
  bool isShown() const override { return dock_->isShown(); }

 private:
  const std::shared_ptr<Dock> dock_;
};

class XembedTrayIcons : public TrayIcons {
 public:
  XembedTrayIcons(MainQueue& queue, DescriptorWatcher& watcher, IconPainter painter,
                  std::string displayName)
      : queue_(queue),
        watcher_(watcher),
        painter_(std::move(painter)),
        displayName_(std::move(displayName)) {}

  std::unique_ptr<TrayIcon> makeTrayIcon(TrayActions actions) override {
    return std::make_unique<XembedTrayIcon>(
        std::make_shared<Dock>(queue_, watcher_, painter_, displayName_, std::move(actions)));
  }

 private:
  MainQueue& queue_;
  DescriptorWatcher& watcher_;
  const IconPainter painter_;
  const std::string displayName_;
};

}  // namespace

std::unique_ptr<TrayIcons> makeXembedTrayIcons(MainQueue& queue, DescriptorWatcher& watcher,
                                               IconPainter painter, std::string displayName) {
  return std::make_unique<XembedTrayIcons>(queue, watcher, std::move(painter),
                                           std::move(displayName));
}

}  // namespace tovalin
