#pragma once

#include <QIcon>
#include <QQuickImageProvider>

namespace tovalin {

// The symbols as QML's "image://symbols/NAME?COLOUR", drawn at the size asked for.
class SymbolProvider : public QQuickImageProvider {
 public:
  SymbolProvider();
  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

// The program's own icon, for its windows.
QIcon programIcon();

}  // namespace tovalin
