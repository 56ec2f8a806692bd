#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/dbus/bus.h"

namespace tovalin {

// A tray icon's menu of one entry, as trays read menus over the bus (com.canonical.dbusmenu).
// Main thread.
class TrayMenu {
 public:
  static constexpr const char* kPath = "/MenuBar";

  // `chosen` is called when the user chooses the entry. `bus` outlives the menu.
  TrayMenu(Bus& bus, std::function<void()> chosen);
  ~TrayMenu();
  TrayMenu(const TrayMenu&) = delete;
  TrayMenu& operator=(const TrayMenu&) = delete;

  // The entry's text; empty for a menu without entries.
  void setEntry(const std::string& text);

 private:
  struct Methods;

  Bus& bus_;
  const std::function<void()> chosen_;
  std::string entry_;
  uint32_t revision_ = 1;
  std::unique_ptr<Subscription> object_;  // last: goes before what it answers from
};

}  // namespace tovalin
