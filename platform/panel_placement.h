#pragma once

#include <algorithm>
#include <optional>

namespace tovalin {

// Where panels go. Lengths are device-independent pixels, the origin at the top left.

struct PanelSize {
  double width = 0;
  double height = 0;
};

struct PanelOrigin {
  double x = 0;
  double y = 0;

  bool operator==(const PanelOrigin&) const = default;
};

struct PanelArea {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

// The indicator's distance from the top edge of the screen: over the desktop's own bar, on purpose.
inline constexpr double kIndicatorTopMargin = 8;
// The menu panel's distance from its icon and from the edges of the screen.
inline constexpr double kPanelMargin = 6;

// The indicator's place: the top centre of the whole main screen; the origin without one.
inline PanelOrigin indicatorOrigin(const std::optional<PanelArea>& screen, PanelSize size) {
  if (!screen) return {};
  return {screen->x + screen->width / 2 - size.width / 2, screen->y + kIndicatorTopMargin};
}

// The menu panel's place: beside `icon`, on the side where the middle of the screen is, and within
// `screen`; in the top right corner where no icon is known.
inline PanelOrigin menuPanelOrigin(const PanelArea& screen, const std::optional<PanelArea>& icon,
                                   PanelSize size) {
  const double left = screen.x + kPanelMargin;
  const double top = screen.y + kPanelMargin;
  const double right = std::max(left, screen.x + screen.width - size.width - kPanelMargin);
  const double bottom = std::max(top, screen.y + screen.height - size.height - kPanelMargin);
  if (!icon) return {right, top};

  const double iconX = icon->x + icon->width / 2;
  const double iconY = icon->y + icon->height / 2;
  PanelOrigin origin;
  // A panel at the side of the screen is told by the icon's being nearer to that side than to the
  // top and the bottom.
  const double toTop = iconY - screen.y;
  const double toBottom = screen.y + screen.height - iconY;
  const double toLeft = iconX - screen.x;
  const double toRight = screen.x + screen.width - iconX;
  if (std::min(toLeft, toRight) < std::min(toTop, toBottom)) {
    origin.x = toLeft < toRight ? icon->x + icon->width + kPanelMargin
                                : icon->x - size.width - kPanelMargin;
    origin.y = iconY - size.height / 2;
  } else {
    origin.x = iconX - size.width / 2;
    origin.y = toTop < toBottom ? icon->y + icon->height + kPanelMargin
                                : icon->y - size.height - kPanelMargin;
  }
  return {std::clamp(origin.x, left, right), std::clamp(origin.y, top, bottom)};
}

}  // namespace tovalin
