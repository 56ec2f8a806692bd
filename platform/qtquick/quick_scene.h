#pragma once

#include <QQmlEngine>
#include <QQuickView>
#include <memory>

#include "platform/qtquick/desktop_style.h"
#include "platform/qtquick/panel_model.h"
#include "platform/system_log.h"

namespace tovalin {

// The QML engine with what all panels share. Made for the first panel: a host whose windows nobody
// opens does without. Outlives the views. Main thread.
class QuickScene {
 public:
  QuickScene(Appearance& appearance, SystemLog& log);
  ~QuickScene();

  DesktopStyle& style() { return style_; }
  // For the making of a view.
  QQmlEngine* engine();

  // Loads `file` of ui/qml into `view`, with `model` as its "panel". What does not load (a module
  // that is not installed) is logged, and the view stays empty.
  void load(QQuickView& view, const char* file, PanelModel& model);

 private:
  SystemLog& log_;
  DesktopStyle style_;
  std::unique_ptr<QQmlEngine> engine_;
};

}  // namespace tovalin
