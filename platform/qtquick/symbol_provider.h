#pragma once

#include <QQuickImageProvider>

namespace tovalin {

// The symbols as QML's "image://symbols/NAME?COLOUR", drawn at the size asked for.
class SymbolProvider : public QQuickImageProvider {
 public:
  SymbolProvider();
  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

}  // namespace tovalin
