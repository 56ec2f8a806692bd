#include "platform/qtquick/desktop_windows.h"

#include <QGuiApplication>
#include <QScreen>
#include <optional>
#include <utility>

#include "platform/qtquick/indicator_window.h"
#include "platform/qtquick/menu_panel.h"
#include "platform/qtquick/pairing_panel.h"
#include "platform/qtquick/quick_scene.h"

namespace tovalin {
namespace {

// The same place in device-independent pixels. On X11 a screen's own origin is not scaled.
std::optional<QRect> independent(const std::optional<TrayArea>& area) {
  if (!area) return std::nullopt;
  for (const QScreen* screen : QGuiApplication::screens()) {
    const qreal ratio = screen->devicePixelRatio();
    const QPoint origin = screen->geometry().topLeft();
    const QRect device(origin, screen->geometry().size() * ratio);
    if (!device.contains(area->x, area->y)) continue;
    const QPointF place = QPointF(QPoint(area->x, area->y) - origin) / ratio;
    return QRect(origin + place.toPoint(),
                 QSize(qRound(area->width / ratio), qRound(area->height / ratio)));
  }
  return std::nullopt;
}

class DesktopMenu : public Menu {
 public:
  DesktopMenu(QuickScene& scene, TrayIcons& trays, MenuActions actions)
      : panel_(scene, std::move(actions)),
        icon_(trays.makeTrayIcon({.activated = [this](const std::optional<TrayArea>& area) {
          panel_.toggle(independent(area));
        }})) {}

  void update(const MenuContent& content) override {
    panel_.update(content);
    icon_->update({content.icon, content.status, content.openPanel});
  }
  void openPanel() override { panel_.open(std::nullopt); }
  bool hasTrayIcon() const override { return icon_->isShown(); }

 private:
  MenuPanel panel_;
  const std::unique_ptr<TrayIcon> icon_;
};

class DesktopWindows : public Windows {
 public:
  DesktopWindows(TrayIcons& trays, Appearance& appearance, SystemLog& log)
      : trays_(trays), scene_(appearance, log) {}

  std::unique_ptr<Menu> makeMenu(MenuActions actions) override {
    return std::make_unique<DesktopMenu>(scene_, trays_, std::move(actions));
  }
  std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) override {
    return std::make_unique<PairingPanel>(scene_, std::move(actions));
  }
  std::unique_ptr<IndicatorPanel> makeIndicator(const IndicatorContent& content,
                                                std::function<void()> disconnect) override {
    return makeIndicatorWindow(scene_.style(), content, std::move(disconnect));
  }

 private:
  TrayIcons& trays_;
  QuickScene scene_;
};

}  // namespace

std::unique_ptr<Windows> makeDesktopWindows(TrayIcons& trays, Appearance& appearance,
                                            SystemLog& log) {
  return std::make_unique<DesktopWindows>(trays, appearance, log);
}

}  // namespace tovalin
