#pragma once

#include <QRect>
#include <functional>
#include <memory>
#include <optional>

#include "platform/qtquick/quick_scene.h"
#include "platform/windows.h"

namespace tovalin {

// The menu-bar panel: opens beside the tray icon, closes on Escape, on a click elsewhere and when
// the focus goes. Its view is made when it is first opened. Main thread.
class MenuPanel {
 public:
  MenuPanel(QuickScene& scene, MenuActions actions);
  ~MenuPanel();

  void update(const MenuContent& content);
  // `icon` in device-independent pixels, where it is known.
  void open(const std::optional<QRect>& icon);
  void close();
  // Closes an open panel, opens a closed one.
  void toggle(const std::optional<QRect>& icon);

 private:
  class View;
  void makeView();
  void place(const std::optional<QRect>& icon);
  void pressed(const QString& control, const QVariant& value);

  QuickScene& scene_;
  const MenuActions actions_;
  PanelModel model_;
  std::optional<QRect> icon_;
  std::unique_ptr<View> view_;
};

}  // namespace tovalin
