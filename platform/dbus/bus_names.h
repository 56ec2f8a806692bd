#pragma once

namespace tovalin {

// An object of a service, seen through one of its interfaces. Every D-Bus name this program knows
// stands in this file, once.
struct BusObject {
  const char* service;
  const char* path;
  const char* interface;
};

inline constexpr BusObject kBusDaemon{"org.freedesktop.DBus", "/org/freedesktop/DBus",
                                      "org.freedesktop.DBus"};

// Where icons register to be shown in the desktop's tray.
inline constexpr BusObject kStatusNotifierWatcher{
    "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", "org.kde.StatusNotifierWatcher"};
inline constexpr BusObject kStatusNotifierWatcherProperties{
    "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties"};

// Signals that the bus library makes up itself.
inline constexpr BusObject kBusLocal{"org.freedesktop.DBus.Local", "/org/freedesktop/DBus/Local",
                                     "org.freedesktop.DBus.Local"};

}  // namespace tovalin
