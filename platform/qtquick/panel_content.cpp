#include "platform/qtquick/panel_content.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QString>

namespace tovalin {
namespace {

// The standard asks for four modules of white around a code. The window's white margin and its
// light frame add to these.
constexpr int kQuietModules = 2;

QString text(const std::string& utf8) {
  return QString::fromStdString(utf8);
}

QVariantList rows(const std::vector<PermissionRow>& permissions) {
  QVariantList list;
  for (const auto& row : permissions) {
    list.append(QVariantMap{{"permission", static_cast<int>(row.permission)},
                            {"granted", row.granted},
                            {"symbol", text(row.symbol)},
                            {"title", text(row.title)},
                            {"reason", text(row.reason)},
                            {"allow", text(row.allow)}});
  }
  return list;
}

QString picture(const QrModules& modules) {
  const int side = modules.size + 2 * kQuietModules;
  QImage image(side, side, QImage::Format_Grayscale8);
  image.fill(Qt::white);
  for (int y = 0; y < modules.size; ++y) {
    for (int x = 0; x < modules.size; ++x) {
      if (modules.at(x, y)) image.setPixelColor(x + kQuietModules, y + kQuietModules, Qt::black);
    }
  }
  QByteArray png;
  QBuffer buffer(&png);
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return QStringLiteral("data:image/png;base64,") + QString::fromLatin1(png.toBase64());
}

QString word(PairingStep step) {
  switch (step) {
    case PairingStep::permissions:
      return QStringLiteral("permissions");
    case PairingStep::connect:
      return QStringLiteral("connect");
    case PairingStep::done:
      break;
  }
  return QStringLiteral("done");
}

}  // namespace

QVariantMap panelContent(const MenuContent& content) {
  return {{"status", text(content.status)},
          {"viewerConnected", content.viewerConnected},
          {"disconnectViewer", text(content.disconnectViewer)},
          {"permissions", rows(content.permissions)},
          {"connectPhone", text(content.connectPhone)},
          {"connectPhoneSymbol", text(content.connectPhoneSymbol)},
          {"advanced", text(content.advanced)},
          {"addressPlaceholder", text(content.addressPlaceholder)},
          {"serverURL", text(content.serverURL)},
          {"reconnect", text(content.reconnect)},
          {"startAtLogin", text(content.startAtLogin)},
          {"launchAtLogin", content.launchAtLogin},
          {"quit", text(content.quit)}};
}

QVariantMap panelContent(const PairingContent& content) {
  return {{"step", word(content.step)},
          {"symbol", text(content.symbol)},
          {"title", text(content.title)},
          {"subtitle", text(content.subtitle)},
          {"permissions", rows(content.permissions)},
          {"waiting", text(content.waiting)},
          {"pinText", text(content.pinText)},
          {"qrCode", content.qrCode ? picture(*content.qrCode) : QString()},
          {"footnote", text(content.footnote)},
          {"newPin", text(content.newPin)},
          {"close", text(content.close)},
          {"closeIsDefault", content.closeIsDefault}};
}

Permission permissionFrom(const QVariant& value) {
  return value.toInt() == static_cast<int>(Permission::accessibility) ? Permission::accessibility
                                                                      : Permission::screenRecording;
}

}  // namespace tovalin
