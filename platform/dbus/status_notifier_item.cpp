#include "platform/dbus/status_notifier_item.h"

#include <unistd.h>

#include <cstring>
#include <utility>
#include <vector>

#include "platform/dbus/bus_message.h"
#include "platform/dbus/tray_menu.h"
#include "platform/weak_task.h"

namespace tovalin {
namespace {

constexpr const char* kInterface = "org.kde.StatusNotifierItem";
constexpr const char* kPath = "/StatusNotifierItem";
constexpr const char* kTitle = "Tovalin Host";

constexpr int kSizes[] = {16, 22, 24, 32, 48, 64};

// What never changes.
constexpr std::pair<const char*, const char*> kTexts[] = {
    {"Category", "ApplicationStatus"},
    {"Id", "com.tovalin.host"},
    {"Title", kTitle},
    {"Status", "Active"},
    {"IconName", ""},
};

// The bytes A, R, G, B of each pixel.
std::vector<uint8_t> networkOrder(const std::vector<uint32_t>& pixels) {
  std::vector<uint8_t> bytes;
  bytes.reserve(pixels.size() * 4);
  for (const uint32_t pixel : pixels) {
    for (const int shift : {24, 16, 8, 0}) bytes.push_back(static_cast<uint8_t>(pixel >> shift));
  }
  return bytes;
}

class Item : public std::enable_shared_from_this<Item> {
 public:
  Item(Bus& bus, IconPainter painter, TrayActions actions)
      : bus_(bus),
        painter_(std::move(painter)),
        actions_(std::move(actions)),
        menu_(bus, [this] { activated(std::nullopt); }),
        object_(bus.exportObject(kPath, kInterface, kTable, this)),
        name_(bus.ownName(service_)) {}

  // Apart from the construction, because the handlers need a shared owner.
  void start() {
    const auto self = shared_from_this();
    const auto look = weakly(self, [](Item& alive, sd_bus_message*) { alive.askForTray(); });
    trayCame_ = bus_.onSignal(kStatusNotifierWatcher, "StatusNotifierHostRegistered", look);
    trayWent_ = bus_.onSignal(kStatusNotifierWatcher, "StatusNotifierHostUnregistered", look);
    watcher_ = bus_.onOwner(
        kStatusNotifierWatcher.service,
        weakly(self, [](Item& alive, const std::string& owner) { alive.watcherChanged(owner); }));
  }

  void update(const TrayContent& content) {
    const TrayContent before = std::exchange(content_, content);
    menu_.setEntry(content.menuEntry);
    if (before.symbol != content.symbol) {
      pictures_.clear();
      announce("NewIcon");
    }
    if (before.toolTip != content.toolTip) announce("NewToolTip");
  }

  bool isShown() const { return shown_.value_or(false); }

 private:
  void announce(const char* signal) { bus_.emitSignal(kPath, kInterface, signal, {}); }

  void watcherChanged(const std::string& owner) {
    ++watchers_;
    registered_ = false;
    if (owner.empty()) return know(false);
    bus_.call(
        kStatusNotifierWatcher, "RegisterStatusNotifierItem",
        [this](sd_bus_message* call) { sd_bus_message_append(call, "s", service_.c_str()); },
        answerOfThisWatcher([](Item& alive, const BusReply& reply) {
          alive.registered_ = reply.ok();
          if (reply.ok()) {
            alive.askForTray();
          } else {
            alive.know(false);
          }
        }));
  }

  void askForTray() {
    if (!registered_) return;
    bus_.call(
        kStatusNotifierWatcherProperties, "Get",
        [](sd_bus_message* call) {
          sd_bus_message_append(call, "ss", kStatusNotifierWatcher.interface,
                                "IsStatusNotifierHostRegistered");
        },
        answerOfThisWatcher([](Item& alive, const BusReply& reply) {
          // A watcher that cannot say is taken for the tray itself.
          const bool says = reply.ok() && enterVariant(reply.message, "b");
          alive.know(says ? readBool(reply.message).value_or(true) : true);
        }));
  }

  // A handler that lets no answer through which another watcher, now gone, has given.
  template <typename Body>
  Bus::ReplyHandler answerOfThisWatcher(Body body) {
    return weakly(shared_from_this(),
                  [body, watcher = watchers_](Item& alive, const BusReply& reply) {
                    if (watcher == alive.watchers_) body(alive, reply);
                  });
  }

  void know(bool shown) {
    if (shown_ == shown) return;
    shown_ = shown;
    if (actions_.shownChanged) actions_.shownChanged();
  }

  void activated(const std::optional<TrayArea>& area) {
    if (actions_.activated) actions_.activated(area);
  }

  // What the tray reads and calls.

  static Item& item(void* context) { return *static_cast<Item*>(context); }

  static int text(sd_bus*, const char*, const char*, const char* property, sd_bus_message* answer,
                  void*, sd_bus_error*) {
    for (const auto& [name, value] : kTexts) {
      if (std::strcmp(name, property) == 0) return sd_bus_message_append(answer, "s", value);
    }
    return -ENOENT;
  }

  static int windowId(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer, void*,
                      sd_bus_error*) {
    return sd_bus_message_append(answer, "i", 0);
  }

  static int itemIsMenu(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer,
                        void*, sd_bus_error*) {
    return sd_bus_message_append(answer, "b", 0);
  }

  static int menuPath(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer, void*,
                      sd_bus_error*) {
    return sd_bus_message_append(answer, "o", TrayMenu::kPath);
  }

  static int iconPixmap(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer,
                        void* context, sd_bus_error*) {
    return appendPictures(answer, item(context).pictures());
  }

  static int toolTip(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer,
                     void* context, sd_bus_error*) {
    int outcome = sd_bus_message_open_container(answer, 'r', "sa(iiay)ss");
    if (outcome >= 0) outcome = sd_bus_message_append(answer, "s", "");
    if (outcome >= 0) outcome = appendPictures(answer, {});
    const std::string& line = item(context).content_.toolTip;
    if (outcome >= 0) outcome = sd_bus_message_append(answer, "ss", kTitle, line.c_str());
    return outcome < 0 ? outcome : sd_bus_message_close_container(answer);
  }

  static int appendPictures(sd_bus_message* answer, const std::vector<IconPicture>& pictures) {
    int outcome = sd_bus_message_open_container(answer, 'a', "(iiay)");
    for (const auto& picture : pictures) {
      const auto bytes = networkOrder(picture.pixels);
      if (outcome >= 0) outcome = sd_bus_message_open_container(answer, 'r', "iiay");
      if (outcome >= 0) outcome = sd_bus_message_append(answer, "ii", picture.size, picture.size);
      if (outcome >= 0) {
        outcome = sd_bus_message_append_array(answer, 'y', bytes.data(), bytes.size());
      }
      if (outcome >= 0) outcome = sd_bus_message_close_container(answer);
    }
    return outcome < 0 ? outcome : sd_bus_message_close_container(answer);
  }

  const std::vector<IconPicture>& pictures() {
    if (pictures_.empty() && !content_.symbol.empty()) {
      for (const int size : kSizes) pictures_.push_back(painter_(content_.symbol, size));
    }
    return pictures_;
  }

  static int activate(sd_bus_message* call, void* context, sd_bus_error*) {
    int32_t x = 0;
    int32_t y = 0;
    int outcome = sd_bus_message_read(call, "ii", &x, &y);
    if (outcome < 0) return outcome;
    outcome = sd_bus_reply_method_return(call, nullptr);
    // Trays that do not know where they are say that they are in the corner.
    const bool known = x != 0 || y != 0;
    item(context).activated(known ? std::optional(TrayArea{x, y, 0, 0}) : std::nullopt);
    return outcome;
  }

  static int ignore(sd_bus_message* call, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(call, nullptr);
  }

  static const sd_bus_vtable kTable[];

  Bus& bus_;
  const IconPainter painter_;
  const TrayActions actions_;
  const std::string service_ = std::string(kInterface) + "-" + std::to_string(getpid()) + "-1";
  TrayContent content_;
  std::vector<IconPicture> pictures_;  // of the symbol, made when they are first asked for
  std::optional<bool> shown_;          // empty until it is known
  unsigned watchers_ = 0;              // how many watchers have come or gone
  bool registered_ = false;

  TrayMenu menu_;
  const std::unique_ptr<Subscription> object_;
  const std::unique_ptr<Subscription> name_;  // asked for before the watcher is told of it
  std::unique_ptr<Subscription> trayCame_;
  std::unique_ptr<Subscription> trayWent_;
  std::unique_ptr<Subscription> watcher_;
};

const sd_bus_vtable Item::kTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Category", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Id", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Title", "s", text, 0, 0),
    SD_BUS_PROPERTY("Status", "s", text, 0, 0),
    SD_BUS_PROPERTY("WindowId", "i", windowId, 0, 0),
    SD_BUS_PROPERTY("IconName", "s", text, 0, 0),
    SD_BUS_PROPERTY("IconPixmap", "a(iiay)", iconPixmap, 0, 0),
    SD_BUS_PROPERTY("ToolTip", "(sa(iiay)ss)", toolTip, 0, 0),
    SD_BUS_PROPERTY("ItemIsMenu", "b", itemIsMenu, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Menu", "o", menuPath, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_METHOD("Activate", "ii", nullptr, activate, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ContextMenu", "ii", nullptr, activate, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SecondaryActivate", "ii", nullptr, ignore, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Scroll", "is", nullptr, ignore, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("NewTitle", nullptr, 0),
    SD_BUS_SIGNAL("NewIcon", nullptr, 0),
    SD_BUS_SIGNAL("NewToolTip", nullptr, 0),
    SD_BUS_SIGNAL("NewStatus", "s", 0),
    SD_BUS_VTABLE_END,
};

class StatusNotifierIcon : public TrayIcon {
 public:
  explicit StatusNotifierIcon(std::shared_ptr<Item> item) : item_(std::move(item)) {
    item_->start();
  }
  void update(const TrayContent& content) override { item_->update(content); }
  bool isShown() const override { return item_->isShown(); }

 private:
  const std::shared_ptr<Item> item_;
};

class StatusNotifierIcons : public TrayIcons {
 public:
  StatusNotifierIcons(Bus& bus, IconPainter painter) : bus_(bus), painter_(std::move(painter)) {}

  std::unique_ptr<TrayIcon> makeTrayIcon(TrayActions actions) override {
    return std::make_unique<StatusNotifierIcon>(
        std::make_shared<Item>(bus_, painter_, std::move(actions)));
  }

 private:
  Bus& bus_;
  const IconPainter painter_;
};

}  // namespace

std::unique_ptr<TrayIcons> makeStatusNotifierIcons(Bus& bus, IconPainter painter) {
  return std::make_unique<StatusNotifierIcons>(bus, std::move(painter));
}

}  // namespace tovalin
