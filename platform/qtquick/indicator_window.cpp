#include "platform/qtquick/indicator_window.h"

#include <QBitmap>
#include <QCursor>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRasterWindow>
#include <QScreen>
#include <QTimer>
#include <cmath>
#include <optional>
#include <utility>

#include "platform/panel_placement.h"
#include "platform/qtquick/x11_windows.h"

namespace tovalin {
namespace {

constexpr qreal kDot = 8;
constexpr qreal kSpacing = 8;
constexpr qreal kPaddingX = 12;
constexpr qreal kPaddingY = 7;
constexpr qreal kButtonPaddingX = 8;
constexpr qreal kButtonPaddingY = 3;
constexpr qreal kButtonRadius = 5;
constexpr qreal kTextPoints = 12;
constexpr qreal kButtonPoints = 11;
const QColor kRed(0xE0, 0x3B, 0x33);
const QColor kRedPressed(0xB8, 0x2C, 0x25);

QFont font(qreal pixels, QFont::Weight weight) {
  QFont font = QGuiApplication::font();
  font.setPixelSize(qRound(pixels));
  font.setWeight(weight);
  return font;
}

class IndicatorWindow : public QRasterWindow {
 public:
  IndicatorWindow(DesktopStyle& style, const IndicatorContent& content,
                  std::function<void()> disconnect)
      : style_(style),
        text_(QString::fromStdString(content.text)),
        button_(QString::fromStdString(content.disconnect)),
        textFont_(font(kTextPoints * style.textScale(), QFont::Medium)),
        buttonFont_(font(kButtonPoints * style.textScale(), QFont::DemiBold)),
        disconnect_(std::move(disconnect)) {
    setFlags(Qt::FramelessWindowHint | Qt::BypassWindowManagerHint | Qt::WindowStaysOnTopHint |
             Qt::WindowDoesNotAcceptFocus);
    setTitle(text_);
    style_.refreshComposited();
    if (style_.composited()) {
      QSurfaceFormat translucent = format();
      translucent.setAlphaBufferSize(8);
      setFormat(translucent);
    }
    layOut();
    const QScreen* main = QGuiApplication::primaryScreen();
    const auto origin = indicatorOrigin(main == nullptr ? std::nullopt : std::optional(area(*main)),
                                        {double(width()), double(height())});
    setPosition(qRound(origin.x), qRound(origin.y));
    create();
    if (!style_.composited()) shapeWindow(*this, capsule());
    onTop_.emplace(*this);
    QObject::connect(&style_, &DesktopStyle::changed, this, [this] { update(); });
    show();
    raise();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool dark = style_.dark();
    const QRectF whole(0, 0, width(), height());
    const qreal radius = whole.height() / 2;
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    const QColor material(dark ? QColor(0x28, 0x29, 0x2D) : QColor(0xF7, 0xF7, 0xF9));
    painter.fillRect(whole, style_.composited() ? QColor(Qt::transparent) : material);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setPen(Qt::NoPen);
    painter.setBrush(style_.composited() ? withAlpha(material, 0.94) : material);
    painter.drawRoundedRect(whole, radius, radius);
    // Drawn inside the edge.
    painter.setPen(QPen(withAlpha(kRed, 0.35), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(whole.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5, radius - 0.5);

    painter.setPen(Qt::NoPen);
    painter.setBrush(kRed);
    painter.drawEllipse(QRectF(kPaddingX, (whole.height() - kDot) / 2, kDot, kDot));
    painter.drawRoundedRect(buttonRect_, kButtonRadius, kButtonRadius);
    if (pressed_ && over_) {
      painter.setBrush(kRedPressed);
      painter.drawRoundedRect(buttonRect_, kButtonRadius, kButtonRadius);
    }

    painter.setFont(textFont_);
    painter.setPen(dark ? QColor(0xF2, 0xF2, 0xF4) : QColor(0x1C, 0x1D, 0x21));
    painter.drawText(textRect_, Qt::AlignVCenter | Qt::AlignLeft, text_);
    painter.setFont(buttonFont_);
    painter.setPen(Qt::white);
    painter.drawText(buttonRect_, Qt::AlignCenter, button_);
  }

  void mousePressEvent(QMouseEvent* event) override {
    if (event->button() != Qt::LeftButton) return;
    pressed_ = over_ = buttonRect_.contains(event->position());
    if (!pressed_) dragFrom_ = event->globalPosition().toPoint() - position();
    update();
  }
  void mouseMoveEvent(QMouseEvent* event) override {
    if (dragFrom_) setPosition(event->globalPosition().toPoint() - *dragFrom_);
    if (!pressed_) return;
    over_ = buttonRect_.contains(event->position());
    update();
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() != Qt::LeftButton) return;
    dragFrom_.reset();
    const bool clicked = std::exchange(pressed_, false) && over_;
    update();
    // Afterwards: the action takes this window down.
    if (clicked) QTimer::singleShot(0, qGuiApp, [action = disconnect_] { action(); });
  }

 private:
  static QColor withAlpha(QColor colour, double alpha) {
    colour.setAlphaF(static_cast<float>(alpha));
    return colour;
  }

  static PanelArea area(const QScreen& screen) {
    const QRect whole = screen.geometry();
    return {double(whole.x()), double(whole.y()), double(whole.width()), double(whole.height())};
  }

  void layOut() {
    const QFontMetricsF text(textFont_);
    const QFontMetricsF button(buttonFont_);
    const qreal textWidth = std::ceil(text.horizontalAdvance(text_));
    const QSizeF buttonSize(std::ceil(button.horizontalAdvance(button_)) + 2 * kButtonPaddingX,
                            std::ceil(button.height()) + 2 * kButtonPaddingY);
    const qreal height =
        std::max({std::ceil(text.height()), buttonSize.height(), kDot}) + 2 * kPaddingY;
    textRect_ = QRectF(kPaddingX + kDot + kSpacing, 0, textWidth, height);
    buttonRect_ = QRectF(
        QPointF(textRect_.right() + kSpacing, std::round((height - buttonSize.height()) / 2)),
        buttonSize);
    resize(qRound(buttonRect_.right() + kPaddingX), qRound(height));
  }

  // In device pixels.
  QRegion capsule() const {
    QBitmap mask(size() * devicePixelRatio());
    mask.clear();
    QPainter painter(&mask);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::color1);
    const QRectF whole(mask.rect());
    painter.drawRoundedRect(whole, whole.height() / 2, whole.height() / 2);
    painter.end();
    return QRegion(mask);
  }

  DesktopStyle& style_;
  const QString text_;
  const QString button_;
  const QFont textFont_;
  const QFont buttonFont_;
  const std::function<void()> disconnect_;
  QRectF textRect_;
  QRectF buttonRect_;
  std::optional<QPoint> dragFrom_;
  bool pressed_ = false;
  bool over_ = false;
  std::optional<StayOnTop> onTop_;
};

class WindowIndicator : public IndicatorPanel {
 public:
  explicit WindowIndicator(std::unique_ptr<IndicatorWindow> window) : window_(std::move(window)) {}
  ~WindowIndicator() override {
    // Its own press may be on the stack.
    window_->hide();
    window_.release()->deleteLater();
  }

 private:
  std::unique_ptr<IndicatorWindow> window_;
};

}  // namespace

std::unique_ptr<IndicatorPanel> makeIndicatorWindow(DesktopStyle& style,
                                                    const IndicatorContent& content,
                                                    std::function<void()> disconnect) {
  return std::make_unique<WindowIndicator>(
      std::make_unique<IndicatorWindow>(style, content, std::move(disconnect)));
}

}  // namespace tovalin
