#pragma once

#include <memory>

#include "platform/dbus/bus.h"
#include "platform/tray_icon.h"

namespace tovalin {

// The trays of today's desktops, which ask programs over the session bus what to show
// (StatusNotifierItem). The icon is offered to the watcher of the trays whenever there is one: also
// to one that comes later, or returns. It is shown when the watcher has a tray at hand.
//
// A click asks for the panel, the context menu does too where the tray leaves it to us. Most trays
// show a menu of the item's own, and GNOME's extension shows no item without one: it has the one
// entry that opens the panel. The wheel and the middle button do nothing.
//
// One icon at a time: it has a fixed place on the bus. `bus` outlives it. Main thread.
std::unique_ptr<TrayIcons> makeStatusNotifierIcons(Bus& bus, IconPainter painter);

}  // namespace tovalin
