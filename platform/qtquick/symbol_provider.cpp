#include "platform/qtquick/symbol_provider.h"

#include <QColor>
#include <QPainter>
#include <QSvgRenderer>

namespace tovalin {
namespace {

// Nothing when there is no such drawing.
QImage draw(const QString& file, const QSize& size) {
  QSvgRenderer drawing(file);
  if (!drawing.isValid()) return {};
  drawing.setAspectRatioMode(Qt::KeepAspectRatio);
  QImage image(size.isEmpty() ? drawing.defaultSize() : size, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  drawing.render(&painter);
  return image;
}

}  // namespace

SymbolProvider::SymbolProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QImage SymbolProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  const auto parts = id.split(QLatin1Char('?'));
  QImage image = draw(QStringLiteral(":/tovalin/symbols/%1.svg").arg(parts.first()), requestedSize);
  // An empty picture makes QML say which one is missing.
  if (image.isNull()) return image;
  QPainter painter(&image);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(image.rect(), QColor(parts.size() > 1 ? parts.at(1) : QStringLiteral("black")));
  if (size != nullptr) *size = image.size();
  return image;
}

QIcon programIcon() {
  QIcon icon;
  for (const int side : {16, 32, 48, 64, 128}) {
    icon.addPixmap(QPixmap::fromImage(
        draw(QStringLiteral(":/tovalin/icon/com.tovalin.host.svg"), QSize(side, side))));
  }
  return icon;
}

}  // namespace tovalin
