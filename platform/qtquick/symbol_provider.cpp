#include "platform/qtquick/symbol_provider.h"

#include <QColor>
#include <QPainter>
#include <QSvgRenderer>

namespace tovalin {

SymbolProvider::SymbolProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QImage SymbolProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  const auto parts = id.split(QLatin1Char('?'));
  QSvgRenderer drawing(QStringLiteral(":/tovalin/symbols/%1.svg").arg(parts.first()));
  // An empty picture makes QML say which one is missing.
  if (!drawing.isValid()) return {};
  const QSize wanted = requestedSize.isEmpty() ? drawing.defaultSize() : requestedSize;
  QImage image(wanted, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  drawing.setAspectRatioMode(Qt::KeepAspectRatio);
  drawing.render(&painter);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(image.rect(), QColor(parts.size() > 1 ? parts.at(1) : QStringLiteral("black")));
  painter.end();
  if (size != nullptr) *size = wanted;
  return image;
}

}  // namespace tovalin
