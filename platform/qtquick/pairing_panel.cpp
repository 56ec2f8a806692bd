#include "platform/qtquick/pairing_panel.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QQuickItem>
#include <QScreen>
#include <utility>

#include "platform/qtquick/panel_content.h"

namespace tovalin {

class PairingPanel::View : public QQuickView {
 public:
  explicit View(QuickScene& scene) : QQuickView(scene.engine(), nullptr) {
    setFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
             Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint);
    setTitle(QStringLiteral("Tovalin"));
  }

  // The window is not the user's to resize; it follows its content.
  void fixSize() {
    setMinimumSize(size());
    setMaximumSize(size());
  }

 protected:
  bool event(QEvent* event) override {
    if (event->type() == QEvent::Close) {
      event->ignore();
      hide();
      return true;
    }
    return QQuickView::event(event);
  }
};

PairingPanel::PairingPanel(QuickScene& scene, PairingActions actions)
    : scene_(scene),
      actions_(std::move(actions)),
      model_(panelContent(PairingContent{}),
             [this](const QString& control, const QVariant& value) { pressed(control, value); }) {}

PairingPanel::~PairingPanel() = default;

void PairingPanel::update(const PairingContent& content) {
  model_.setContent(panelContent(content));
}

void PairingPanel::orderFront() {
  if (!view_) {
    view_ = std::make_unique<View>(scene_);
    scene_.load(*view_, "PairingView.qml", model_);
    if (view_->rootObject() == nullptr) return;
    view_->rootObject()->forceActiveFocus();
    view_->fixSize();
    QObject::connect(view_->rootObject(), &QQuickItem::heightChanged, view_.get(), [this] {
      const int height = qRound(view_->rootObject()->height());
      view_->setMinimumHeight(height);
      view_->setMaximumHeight(height);
      view_->setHeight(height);
    });
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
      const QRect whole = screen->availableGeometry();
      view_->setPosition(whole.center() - QPoint(view_->width() / 2, view_->height() / 2));
    }
  }
  if (view_->rootObject() == nullptr) return;
  view_->show();
  view_->raise();
  view_->requestActivate();
}

void PairingPanel::orderOut() {
  if (view_) view_->hide();
}

void PairingPanel::pressed(const QString& control, const QVariant& value) {
  const auto press = [](auto action, auto... argument) {
    if (action) action(argument...);
  };
  if (control == QLatin1String("drag")) {
    view_->startSystemMove();
    return;
  }
  if (control == QLatin1String("allow")) return press(actions_.allow, permissionFrom(value));
  if (control == QLatin1String("newPin")) return press(actions_.newPin);
  if (control == QLatin1String("close")) return press(actions_.close);
}

}  // namespace tovalin
