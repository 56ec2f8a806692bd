#include "platform/qtquick/menu_panel.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QQuickItem>
#include <QScreen>
#include <utility>

#include "platform/panel_placement.h"
#include "platform/qtquick/panel_content.h"
#include "platform/qtquick/x11_windows.h"

namespace tovalin {
namespace {

PanelArea area(const QRect& rect) {
  return {double(rect.x()), double(rect.y()), double(rect.width()), double(rect.height())};
}

}  // namespace

class MenuPanel::View : public QQuickView {
 public:
  explicit View(QuickScene& scene) : QQuickView(scene.engine(), nullptr) {
    // A utility window: no task bar shows it, and the window manager lets it have the keyboard.
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setTitle(QStringLiteral("Tovalin Host"));
    QObject::connect(this, &QWindow::activeChanged, this, [this] {
      if (!isActive()) hide();
    });
  }

 protected:
  void exposeEvent(QExposeEvent* event) override {
    QQuickView::exposeEvent(event);
    // With the pointer grabbed, a click elsewhere comes here as well.
    if (isExposed()) setMouseGrabEnabled(true);
  }
  void hideEvent(QHideEvent* event) override {
    setMouseGrabEnabled(false);
    QQuickView::hideEvent(event);
  }
  void mousePressEvent(QMouseEvent* event) override {
    if (!QRectF(0, 0, width(), height()).contains(event->position())) return hide();
    QQuickView::mousePressEvent(event);
  }
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Escape) return hide();
    QQuickView::keyPressEvent(event);
  }
};

MenuPanel::MenuPanel(QuickScene& scene, MenuActions actions)
    : scene_(scene),
      actions_(std::move(actions)),
      model_(panelContent(MenuContent{}),
             [this](const QString& control, const QVariant& value) { pressed(control, value); }) {}

MenuPanel::~MenuPanel() = default;

void MenuPanel::update(const MenuContent& content) {
  model_.setContent(panelContent(content));
}

void MenuPanel::makeView() {
  scene_.style().refreshComposited();
  view_ = std::make_unique<View>(scene_);
  // Before the window exists: its depth depends on it.
  if (scene_.style().composited()) view_->setColor(Qt::transparent);
  scene_.load(*view_, "MenuPanel.qml", model_);
  QObject::connect(view_.get(), &QWindow::heightChanged, view_.get(), [this] { place(icon_); });
}

void MenuPanel::open(const std::optional<QRect>& icon) {
  if (actions_.opened) actions_.opened();
  if (!view_) makeView();
  if (view_->rootObject() == nullptr) return;
  icon_ = icon;
  QMetaObject::invokeMethod(view_->rootObject(), "reset");
  place(icon_);
  view_->show();
  makePanel(*view_);
  view_->raise();
  view_->requestActivate();
}

void MenuPanel::close() {
  if (view_) view_->hide();
}

void MenuPanel::toggle(const std::optional<QRect>& icon) {
  if (view_ && view_->isVisible()) {
    close();
  } else {
    open(icon);
  }
}

void MenuPanel::place(const std::optional<QRect>& icon) {
  const QScreen* screen = icon ? QGuiApplication::screenAt(icon->center()) : nullptr;
  if (screen == nullptr) screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return;
  const auto origin = menuPanelOrigin(area(screen->availableGeometry()),
                                      icon ? std::optional(area(*icon)) : std::nullopt,
                                      {double(view_->width()), double(view_->height())});
  view_->setPosition(qRound(origin.x), qRound(origin.y));
}

void MenuPanel::pressed(const QString& control, const QVariant& value) {
  // Copies: an action may destroy this panel.
  const auto press = [](auto action, auto... argument) {
    if (action) action(argument...);
  };
  if (control == QLatin1String("disconnectViewer")) return press(actions_.disconnectViewer);
  if (control == QLatin1String("allow")) return press(actions_.allow, permissionFrom(value));
  if (control == QLatin1String("editServerURL")) {
    return press(actions_.editServerURL, value.toString().toStdString());
  }
  if (control == QLatin1String("reconnect")) return press(actions_.reconnect);
  if (control == QLatin1String("setLaunchAtLogin")) {
    return press(actions_.setLaunchAtLogin, value.toBool());
  }
  if (control == QLatin1String("connectPhone")) {
    close();
    return press(actions_.connectPhone);
  }
  if (control == QLatin1String("quit")) return press(actions_.quit);
}

}  // namespace tovalin
