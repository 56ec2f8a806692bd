#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovalin {

// A square picture, rows from the top, each pixel 0xAARRGGBB with the colour not multiplied by the
// alpha.
struct IconPicture {
  int size = 0;  // pixels a side
  std::vector<uint32_t> pixels{};

  bool operator==(const IconPicture&) const = default;
};

// Draws a symbol by its name, `size` device pixels a side.
using IconPainter = std::function<IconPicture(std::string_view symbol, int size)>;

struct TrayContent {
  std::string symbol{};   // symbol name
  std::string toolTip{};  // one line; shown by trays that show such a thing
  // The text that activates the icon in a menu of one entry, for trays that insist on a menu.
  std::string menuEntry{};

  bool operator==(const TrayContent&) const = default;
};

// Where the icon stood when it was clicked, in device pixels from the desktop's top left corner.
// A tray that tells only the place of the click gives an area without a size.
struct TrayArea {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  bool operator==(const TrayArea&) const = default;
};

struct TrayActions {
  // The icon was clicked, with whichever button; without an area when the tray does not tell one.
  std::function<void(const std::optional<TrayArea>&)> activated{};
  // Whether the icon is shown is known for the first time, or has changed. Never called from
  // within a call to the icon or its making.
  std::function<void()> shownChanged{};
};

// The program's icon in the desktop's tray, from its making to its destruction. Follows trays that
// come, go and return. Main thread.
class TrayIcon {
 public:
  virtual ~TrayIcon() = default;

  virtual void update(const TrayContent& content) = 0;
  // Whether a tray has taken the icon.
  virtual bool isShown() const = 0;
};

// The desktop's trays. Main thread; actions are called on the main thread, and may not destroy the
// icon they come from.
class TrayIcons {
 public:
  virtual ~TrayIcons() = default;
  virtual std::unique_ptr<TrayIcon> makeTrayIcon(TrayActions actions) = 0;
};

}  // namespace tovalin
