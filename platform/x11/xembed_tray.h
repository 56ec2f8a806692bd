#pragma once

#include <memory>
#include <string>

#include "platform/descriptor_watcher.h"
#include "platform/main_queue.h"
#include "platform/tray_icon.h"

namespace tovalin {

// The trays of older X11 desktops, which take the window of an icon into their own (the system
// tray protocol over XEMBED): a tray that is there, that comes later, or that returns after a
// crash. The icon is painted in the size that the tray gives it, over the tray's own background.
// Clicks count when the button is let go over the icon; the wheel does nothing. Such trays show no
// tool tips; the text becomes the window's name.
//
// Each icon has a connection of its own, opened when it is made, which waits for the server; from
// then on nothing does. `displayName` as in the DISPLAY variable; empty means that variable. What
// is passed by reference outlives the icons.
std::unique_ptr<TrayIcons> makeXembedTrayIcons(MainQueue& queue, DescriptorWatcher& watcher,
                                               IconPainter painter, std::string displayName = {});

}  // namespace tovalin
