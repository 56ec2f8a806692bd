#include "platform/dbus/tray_menu.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tovalin {
namespace {

constexpr const char* kInterface = "com.canonical.dbusmenu";
constexpr uint32_t kVersion = 3;
constexpr int32_t kRoot = 0;
constexpr int32_t kEntry = 1;

// The text of an entry with the marks of its access keys taken for what they are.
std::string withoutAccessKeys(const std::string& text) {
  std::string escaped;
  for (const char c : text) escaped += c == '_' ? std::string("__") : std::string(1, c);
  return escaped;
}

}  // namespace

// Answers of the interface. Property filters of the callers are ignored: there is hardly anything
// to leave out.
struct TrayMenu::Methods {
  static TrayMenu& menu(void* context) { return *static_cast<TrayMenu*>(context); }

  static bool knows(const TrayMenu& menu, int32_t id) {
    return id == kRoot || (id == kEntry && !menu.entry_.empty());
  }

  static int appendText(sd_bus_message* message, const char* key, const char* value) {
    return sd_bus_message_append(message, "{sv}", key, "s", value);
  }

  // a{sv}
  static int appendProperties(sd_bus_message* message, const TrayMenu& menu, int32_t id) {
    int outcome = sd_bus_message_open_container(message, 'a', "{sv}");
    if (outcome >= 0 && id == kRoot) outcome = appendText(message, "children-display", "submenu");
    if (outcome >= 0 && id == kEntry) {
      outcome = appendText(message, "label", withoutAccessKeys(menu.entry_).c_str());
    }
    return outcome < 0 ? outcome : sd_bus_message_close_container(message);
  }

  // (ia{sv}av), the entry as the root's only child
  static int appendItem(sd_bus_message* message, const TrayMenu& menu, int32_t id, int32_t depth) {
    int outcome = sd_bus_message_open_container(message, 'r', "ia{sv}av");
    if (outcome >= 0) outcome = sd_bus_message_append(message, "i", id);
    if (outcome >= 0) outcome = appendProperties(message, menu, id);
    if (outcome >= 0) outcome = sd_bus_message_open_container(message, 'a', "v");
    if (outcome >= 0 && id == kRoot && depth != 0 && knows(menu, kEntry)) {
      outcome = sd_bus_message_open_container(message, 'v', "(ia{sv}av)");
      if (outcome >= 0) outcome = appendItem(message, menu, kEntry, 0);
      if (outcome >= 0) outcome = sd_bus_message_close_container(message);
    }
    if (outcome >= 0) outcome = sd_bus_message_close_container(message);
    return outcome < 0 ? outcome : sd_bus_message_close_container(message);
  }

  template <typename Append>
  static int reply(sd_bus_message* call, Append append) {
    sd_bus_message* created = nullptr;
    int outcome = sd_bus_message_new_method_return(call, &created);
    if (outcome < 0) return outcome;
    const BusMessageHandle answer(created);
    if ((outcome = append(answer.get())) < 0) return outcome;
    return sd_bus_send(nullptr, answer.get(), nullptr);
  }

  static int unknown(sd_bus_error* error) {
    return sd_bus_error_set_const(error, SD_BUS_ERROR_INVALID_ARGS, "no such entry");
  }

  static int getLayout(sd_bus_message* call, void* context, sd_bus_error* error) {
    int32_t parent = 0;
    int32_t depth = 0;
    if (const int outcome = sd_bus_message_read(call, "ii", &parent, &depth); outcome < 0) {
      return outcome;
    }
    const TrayMenu& self = menu(context);
    if (!knows(self, parent)) return unknown(error);
    return reply(call, [&](sd_bus_message* answer) {
      const int outcome = sd_bus_message_append(answer, "u", self.revision_);
      return outcome < 0 ? outcome : appendItem(answer, self, parent, depth);
    });
  }

  static int getGroupProperties(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
    const void* ids = nullptr;
    size_t bytes = 0;
    if (const int outcome = sd_bus_message_read_array(call, 'i', &ids, &bytes); outcome < 0) {
      return outcome;
    }
    const TrayMenu& self = menu(context);
    const auto* wanted = static_cast<const int32_t*>(ids);
    const size_t count = bytes / sizeof *wanted;
    return reply(call, [&](sd_bus_message* answer) {
      int outcome = sd_bus_message_open_container(answer, 'a', "(ia{sv})");
      for (const int32_t id : {kRoot, kEntry}) {
        // No ids at all means every one.
        const bool asked = count == 0 || std::find(wanted, wanted + count, id) != wanted + count;
        if (!asked || !knows(self, id) || outcome < 0) continue;
        outcome = sd_bus_message_open_container(answer, 'r', "ia{sv}");
        if (outcome >= 0) outcome = sd_bus_message_append(answer, "i", id);
        if (outcome >= 0) outcome = appendProperties(answer, self, id);
        if (outcome >= 0) outcome = sd_bus_message_close_container(answer);
      }
      return outcome < 0 ? outcome : sd_bus_message_close_container(answer);
    });
  }

  static int getProperty(sd_bus_message* call, void* context, sd_bus_error* error) {
    int32_t id = 0;
    const char* name = nullptr;
    if (const int outcome = sd_bus_message_read(call, "is", &id, &name); outcome < 0) {
      return outcome;
    }
    const TrayMenu& self = menu(context);
    const bool isLabel = id == kEntry && knows(self, id) && std::strcmp(name, "label") == 0;
    if (!isLabel) return unknown(error);
    return sd_bus_reply_method_return(call, "v", "s", withoutAccessKeys(self.entry_).c_str());
  }

  static int event(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
    int32_t id = 0;
    const char* kind = nullptr;
    if (const int outcome = sd_bus_message_read(call, "is", &id, &kind); outcome < 0) {
      return outcome;
    }
    const int outcome = sd_bus_reply_method_return(call, nullptr);
    heard(menu(context), id, kind);
    return outcome;
  }

  static int eventGroup(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
    int outcome = sd_bus_message_enter_container(call, 'a', "(isvu)");
    bool clicked = false;
    while (outcome > 0 && (outcome = sd_bus_message_enter_container(call, 'r', "isvu")) > 0) {
      int32_t id = 0;
      const char* kind = nullptr;
      outcome = sd_bus_message_read(call, "is", &id, &kind);
      clicked |= outcome > 0 && isClick(menu(context), id, kind);
      if (outcome > 0) outcome = sd_bus_message_skip(call, "vu");
      if (outcome > 0) outcome = sd_bus_message_exit_container(call);
    }
    if (outcome < 0) return outcome;
    outcome = sd_bus_reply_method_return(call, "ai", 0);
    if (clicked) heard(menu(context), kEntry, "clicked");
    return outcome;
  }

  static bool isClick(const TrayMenu& self, int32_t id, const char* kind) {
    return id == kEntry && knows(self, id) && std::strcmp(kind, "clicked") == 0;
  }

  static void heard(const TrayMenu& self, int32_t id, const char* kind) {
    if (isClick(self, id, kind)) self.chosen_();
  }

  static int aboutToShow(sd_bus_message* call, void* /*context*/, sd_bus_error* /*error*/) {
    return sd_bus_reply_method_return(call, "b", 0);
  }

  static int aboutToShowGroup(sd_bus_message* call, void* /*context*/, sd_bus_error* /*error*/) {
    return sd_bus_reply_method_return(call, "aiai", 0, 0);
  }

  static int version(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer, void*,
                     sd_bus_error*) {
    return sd_bus_message_append(answer, "u", kVersion);
  }

  static int word(sd_bus*, const char*, const char*, const char* property, sd_bus_message* answer,
                  void*, sd_bus_error*) {
    const bool isDirection = std::strcmp(property, "TextDirection") == 0;
    return sd_bus_message_append(answer, "s", isDirection ? "ltr" : "normal");
  }

  static int themePath(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer,
                       void*, sd_bus_error*) {
    return sd_bus_message_append(answer, "as", 0);
  }

  static const sd_bus_vtable table[];
};

const sd_bus_vtable TrayMenu::Methods::table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetLayout", "iias", "u(ia{sv}av)", getLayout, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetGroupProperties", "aias", "a(ia{sv})", getGroupProperties,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetProperty", "is", "v", getProperty, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Event", "isvu", nullptr, event, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("EventGroup", "a(isvu)", "ai", eventGroup, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("AboutToShow", "i", "b", aboutToShow, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("AboutToShowGroup", "ai", "aiai", aboutToShowGroup, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("Version", "u", version, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("TextDirection", "s", word, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Status", "s", word, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("IconThemePath", "as", themePath, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_SIGNAL("LayoutUpdated", "ui", 0),
    SD_BUS_SIGNAL("ItemsPropertiesUpdated", "a(ia{sv})a(ias)", 0),
    SD_BUS_SIGNAL("ItemActivationRequested", "iu", 0),
    SD_BUS_VTABLE_END,
};

TrayMenu::TrayMenu(Bus& bus, std::function<void()> chosen)
    : bus_(bus),
      chosen_(std::move(chosen)),
      object_(bus.exportObject(kPath, kInterface, Methods::table, this)) {}

TrayMenu::~TrayMenu() = default;

void TrayMenu::setEntry(const std::string& text) {
  if (text == entry_) return;
  entry_ = text;
  revision_ += 1;
  bus_.emitSignal(kPath, kInterface, "LayoutUpdated", [this](sd_bus_message* signal) {
    sd_bus_message_append(signal, "ui", revision_, kRoot);
  });
}

}  // namespace tovalin
