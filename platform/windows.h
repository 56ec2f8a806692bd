#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/qr_code.h"

namespace tovalin {

// What the windows show, every text included: an adapter draws and decides nothing. A text that is
// empty stands for a control that is not there. (The braces let designated initializers leave
// fields out without a warning of GCC 12.)

enum class Permission { screenRecording, accessibility };

struct PermissionRow {
  Permission permission = Permission::screenRecording;
  bool granted = false;
  std::string symbol{};  // symbol name
  std::string title{};
  std::string reason{};
  std::string allow{};  // a button

  bool operator==(const PermissionRow&) const = default;
};

struct MenuContent {
  std::string icon{};       // symbol name
  std::string openPanel{};  // a menu entry, in trays that insist on a menu
  std::string status{};
  bool viewerConnected = false;
  std::string disconnectViewer{};
  std::vector<PermissionRow> permissions{};
  std::string connectPhone{};
  std::string connectPhoneSymbol{};
  std::string advanced{};
  std::string addressPlaceholder{};
  std::string serverURL{};
  std::string reconnect{};
  std::string startAtLogin{};
  bool launchAtLogin = false;
  std::string quit{};

  bool operator==(const MenuContent&) const = default;
};

struct MenuActions {
  std::function<void()> opened{};  // the panel has come on screen
  std::function<void()> disconnectViewer{};
  std::function<void(Permission)> allow{};
  std::function<void()> connectPhone{};
  std::function<void(const std::string&)> editServerURL{};
  std::function<void()> reconnect{};
  std::function<void(bool)> setLaunchAtLogin{};
  std::function<void()> quit{};
};

// The tray icon with its panel.
class Menu {
 public:
  virtual ~Menu() = default;
  virtual void update(const MenuContent& content) = 0;
  // Opens the panel, next to the icon where there is one.
  virtual void openPanel() = 0;
  // Whether a tray shows the icon now.
  virtual bool hasTrayIcon() const = 0;
};

enum class PairingStep { permissions, connect, done };

struct PairingContent {
  PairingStep step = PairingStep::permissions;
  std::string symbol{};  // symbol name of the header
  std::string title{};
  std::string subtitle{};
  std::vector<PermissionRow> permissions{};
  std::string waiting{};  // while there is no PIN
  std::string pin{};
  std::string pinText{};  // the PIN as it is shown
  std::optional<QrModules> qrCode{};
  std::string footnote{};
  std::string newPin{};
  std::string close{};
  bool closeIsDefault = false;  // Return presses it

  bool operator==(const PairingContent&) const = default;
};

struct PairingActions {
  std::function<void(Permission)> allow{};
  std::function<void()> newPin{};
  std::function<void()> close{};
};

class PairingWindow {
 public:
  virtual ~PairingWindow() = default;
  virtual void update(const PairingContent& content) = 0;
  // Makes the window visible, in front, with the keyboard focus.
  virtual void orderFront() = 0;
  // Hides it; it can be shown again.
  virtual void orderOut() = 0;
};

struct IndicatorContent {
  std::string text{};
  std::string disconnect{};

  bool operator==(const IndicatorContent&) const = default;
};

// The panel that says that someone is in control. On screen from its making to its destruction.
class IndicatorPanel {
 public:
  virtual ~IndicatorPanel() = default;
};

// The desktop's windows. Main thread; actions are called on the main thread, and may destroy the
// window they come from.
class Windows {
 public:
  virtual ~Windows() = default;

  virtual std::unique_ptr<Menu> makeMenu(MenuActions actions) = 0;
  virtual std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) = 0;
  virtual std::unique_ptr<IndicatorPanel> makeIndicator(const IndicatorContent& content,
                                                        std::function<void()> disconnect) = 0;
};

}  // namespace tovalin
