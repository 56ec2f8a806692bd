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

inline constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

// System bus: logind, or elogind.
inline constexpr BusObject kLoginManager{"org.freedesktop.login1", "/org/freedesktop/login1",
                                         "org.freedesktop.login1.Manager"};
inline constexpr const char* kLoginSessionInterface = "org.freedesktop.login1.Session";

// An object that some services have at a second path, or only there.
struct BusObjectPlaces {
  BusObject object;
  const char* otherPath = nullptr;
};

// Session bus: the screen savers, which are what locks the screen.
//
// The shared name. KDE and light-locker tell of the lock through it; GNOME carries out Inhibit
// alone and refuses the rest. KDE began with the short path.
inline constexpr BusObjectPlaces kScreenSaver{
    {"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver"},
    "/ScreenSaver"};
// GNOME's shell itself; the well-known name below belongs to a helper that passes on to it and is
// started on demand.
inline constexpr BusObjectPlaces kGnomeScreenShield{
    {"org.gnome.Shell.ScreenShield", "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver"}};
inline constexpr BusObjectPlaces kGnomeScreenSaver{
    {"org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver"}};
inline constexpr BusObjectPlaces kMateScreenSaver{
    {"org.mate.ScreenSaver", "/org/mate/ScreenSaver", "org.mate.ScreenSaver"}};
inline constexpr BusObjectPlaces kXfceScreenSaver{
    {"org.xfce.ScreenSaver", "/org/xfce/ScreenSaver", "org.xfce.ScreenSaver"}};
inline constexpr BusObjectPlaces kCinnamonScreenSaver{
    {"org.cinnamon.ScreenSaver", "/org/cinnamon/ScreenSaver", "org.cinnamon.ScreenSaver"}};

inline constexpr BusObjectPlaces kScreenSavers[] = {
    kScreenSaver,     kGnomeScreenShield, kGnomeScreenSaver,
    kMateScreenSaver, kXfceScreenSaver,   kCinnamonScreenSaver,
};

// Session bus: the session manager of GNOME, MATE and Cinnamon.
inline constexpr BusObject kSessionManager{"org.gnome.SessionManager", "/org/gnome/SessionManager",
                                           "org.gnome.SessionManager"};

// Session bus: the desktop portal's settings.
inline constexpr BusObject kPortalSettings{"org.freedesktop.portal.Desktop",
                                           "/org/freedesktop/portal/desktop",
                                           "org.freedesktop.portal.Settings"};

}  // namespace tovalin
