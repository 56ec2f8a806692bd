#include "platform/qtquick/desktop_style.h"

#include <QEvent>
#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>
#include <algorithm>

#include "platform/qtquick/x11_windows.h"

namespace tovalin {
namespace {

constexpr qreal kReferenceFontPixels = 13.33;  // 10 pt at 96 dpi

}  // namespace

DesktopStyle::DesktopStyle(Appearance& appearance)
    : appearance_(appearance),
      schemeChanges_(
          appearance.onChange([this](std::optional<ColorScheme>) { Q_EMIT changed(); })) {
  refreshComposited();
  qGuiApp->installEventFilter(this);
}

bool DesktopStyle::eventFilter(QObject* watched, QEvent* event) {
  const bool restyled = event->type() == QEvent::ApplicationFontChange ||
                        event->type() == QEvent::ApplicationPaletteChange;
  if (watched == qGuiApp && restyled) Q_EMIT changed();
  return QObject::eventFilter(watched, event);
}

bool DesktopStyle::dark() const {
  if (const auto scheme = appearance_.current()) return *scheme == ColorScheme::dark;
  const QPalette palette = QGuiApplication::palette();
  return palette.color(QPalette::Window).lightness() <
         palette.color(QPalette::WindowText).lightness();
}

qreal DesktopStyle::textScale() const {
  const qreal pixels = QFontInfo(QGuiApplication::font()).pixelSize();
  return std::max(1.0, pixels / kReferenceFontPixels);
}

void DesktopStyle::refreshComposited() {
  const bool composited = hasCompositor();
  if (composited == composited_) return;
  composited_ = composited;
  Q_EMIT changed();
}

}  // namespace tovalin
