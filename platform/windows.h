#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tovalin {

// What the menu panel and its icon show.
struct MenuContent {
  std::string icon;  // symbol name
  std::string status;
  bool viewerConnected = false;

  bool operator==(const MenuContent&) const = default;
};

struct MenuActions {
  std::function<void()> disconnectViewer;
  std::function<void()> connectPhone;
  std::function<void()> reconnect;
  std::function<void()> quit;
};

class Menu {
 public:
  virtual ~Menu() = default;
  virtual void update(const MenuContent& content) = 0;
};

// What the pairing window shows: the confirmation once a device has paired, else the PIN once there
// is one, else that it is awaited.
struct PairingContent {
  std::optional<std::string> pairedDevice;
  std::optional<std::string> pin;

  bool operator==(const PairingContent&) const = default;
};

struct PairingActions {
  std::function<void()> newPin;
  std::function<void()> close;
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

// The panel that says that someone is in control. On screen from its making to its destruction.
class IndicatorPanel {
 public:
  virtual ~IndicatorPanel() = default;
};

// The desktop's windows. Main thread; actions are called on the main thread.
class Windows {
 public:
  virtual ~Windows() = default;

  virtual std::unique_ptr<Menu> makeMenu(MenuActions actions) = 0;
  virtual std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) = 0;
  virtual std::unique_ptr<IndicatorPanel> makeIndicator(std::function<void()> disconnect) = 0;
};

}  // namespace tovalin
