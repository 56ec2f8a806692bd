#include "platform/qt/tray_symbols.h"

#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>

namespace tovalin {
namespace {

constexpr int kDrawnSizes[] = {32, 24, 22, 16};

// Of the sizes that `size` is a multiple of the largest, else the largest that is not larger.
int drawnSizeFor(int size) {
  for (const int drawn : kDrawnSizes) {
    if (size % drawn == 0) return drawn;
  }
  for (const int drawn : kDrawnSizes) {
    if (drawn <= size) return drawn;
  }
  return kDrawnSizes[std::size(kDrawnSizes) - 1];
}

}  // namespace

IconPicture drawTraySymbol(std::string_view symbol, int size) {
  if (size < 1) return {};
  const auto name = QString::fromUtf8(symbol.data(), static_cast<qsizetype>(symbol.size()));
  QSvgRenderer drawing(
      QStringLiteral(":/tovalin/tray/%1/%2.svg").arg(drawnSizeFor(size)).arg(name));
  if (!drawing.isValid()) return {};
  QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  drawing.render(&painter, QRectF(image.rect()));
  painter.end();

  const QImage straight = image.convertToFormat(QImage::Format_ARGB32);
  IconPicture picture{size, {}};
  for (int y = 0; y < size; ++y) {
    const auto* row = reinterpret_cast<const uint32_t*>(straight.constScanLine(y));
    picture.pixels.insert(picture.pixels.end(), row, row + size);
  }
  return picture;
}

}  // namespace tovalin
