#include "platform/qtquick/panel_model.h"

#include <QMetaObject>
#include <utility>

namespace tovalin {

PanelModel::PanelModel(QVariantMap content, Handler handler)
    : content_(std::move(content)), handler_(std::move(handler)) {}

void PanelModel::setContent(QVariantMap content) {
  if (content == content_) return;
  content_ = std::move(content);
  Q_EMIT contentChanged();
}

void PanelModel::press(const QString& control, const QVariant& value) {
  // The window is moved while the button is down, by the window manager.
  if (control == QLatin1String("drag")) return handler_(control, value);
  QMetaObject::invokeMethod(
      this, [this, control, value] { handler_(control, value); }, Qt::QueuedConnection);
}

}  // namespace tovalin
