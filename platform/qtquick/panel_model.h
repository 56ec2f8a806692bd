#pragma once

#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>

namespace tovalin {

// What stands between a QML panel and the adapter that owns it: the content goes in, the pressed
// control comes out. Main thread.
class PanelModel : public QObject {
  Q_OBJECT
  Q_PROPERTY(QVariantMap content READ content NOTIFY contentChanged)

 public:
  using Handler = std::function<void(const QString& control, const QVariant& value)>;

  PanelModel(QVariantMap content, Handler handler);

  const QVariantMap& content() const { return content_; }
  void setContent(QVariantMap content);

  // Runs once what QML is doing is done: a press may destroy the panel it came from.
  Q_INVOKABLE void press(const QString& control, const QVariant& value = {});

 Q_SIGNALS:
  void contentChanged();

 private:
  QVariantMap content_;
  const Handler handler_;
};

}  // namespace tovalin
