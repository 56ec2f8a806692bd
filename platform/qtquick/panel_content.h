#pragma once

#include <QVariantMap>

#include "platform/windows.h"

namespace tovalin {

// The contents as QML reads them: the same names, steps and permissions as words or numbers, the
// QR code as the address of a picture with one pixel for each module.
QVariantMap panelContent(const MenuContent& content);
QVariantMap panelContent(const PairingContent& content);

// The permission that a row's "permission" stands for.
Permission permissionFrom(const QVariant& value);

}  // namespace tovalin
