#include "platform/qtquick/quick_scene.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlError>
#include <QUrl>

#include "platform/qtquick/symbol_provider.h"

namespace tovalin {

QuickScene::QuickScene(Appearance& appearance, SystemLog& log) : log_(log), style_(appearance) {}

QuickScene::~QuickScene() = default;

QQmlEngine* QuickScene::engine() {
  if (!engine_) {
    // Needs no GPU, and a third of the memory.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    engine_ = std::make_unique<QQmlEngine>();
    engine_->setOutputWarningsToStandardError(false);
    QObject::connect(engine_.get(), &QQmlEngine::warnings, engine_.get(),
                     [this](const QList<QQmlError>& warnings) {
                       for (const auto& warning : warnings) {
                         log_.line("[Tovalin] window: " + warning.toString().toStdString());
                       }
                     });
    QGuiApplication::setWindowIcon(programIcon());
    engine_->addImageProvider(QStringLiteral("symbols"), new SymbolProvider);
    engine_->rootContext()->setContextProperty(QStringLiteral("appearance"), &style_);
  }
  return engine_.get();
}

void QuickScene::load(QQuickView& view, const char* file, PanelModel& model) {
  view.setResizeMode(QQuickView::SizeViewToRootObject);
  view.setInitialProperties({{QStringLiteral("panel"), QVariant::fromValue<QObject*>(&model)}});
  view.setSource(QUrl(QStringLiteral("qrc:/tovalin/ui/") + QLatin1String(file)));
  for (const auto& error : view.errors()) {
    log_.line("[Tovalin] window: " + error.toString().toStdString());
  }
}

}  // namespace tovalin
