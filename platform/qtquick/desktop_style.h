#pragma once

#include <QObject>
#include <memory>

#include "platform/appearance.h"

namespace tovalin {

// What the panels follow of the desktop's looks, for QML. Main thread.
class DesktopStyle : public QObject {
  Q_OBJECT
  Q_PROPERTY(bool dark READ dark NOTIFY changed)
  Q_PROPERTY(bool composited READ composited NOTIFY changed)
  Q_PROPERTY(qreal textScale READ textScale NOTIFY changed)

 public:
  // `appearance` outlives it; where that does not tell of a scheme, Qt's palette does.
  explicit DesktopStyle(Appearance& appearance);

  bool dark() const;
  // Whether windows may have see-through corners.
  bool composited() const { return composited_; }
  // The desktop's font beside one of 10 pt at 96 dpi; never below 1.
  qreal textScale() const;

  // Looks for a compositor again: it may have come or gone.
  void refreshComposited();

 Q_SIGNALS:
  void changed();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  Appearance& appearance_;
  const std::unique_ptr<Subscription> schemeChanges_;
  bool composited_ = false;
};

}  // namespace tovalin
