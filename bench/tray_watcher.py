"""The watcher of a tray, for measurements: takes every icon on the session bus, says when (in
seconds of the monotonic clock) and clicks the last one for each line "click" on standard input."""

import sys
import time

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

NAME = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"


class Watcher(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(dbus.service.BusName(NAME, bus), "/StatusNotifierWatcher")
        self.bus = bus
        self.item = None

    @dbus.service.method(NAME, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, item, sender):
        print(f"ICON {time.monotonic()}", flush=True)
        path = item if item.startswith("/") else "/StatusNotifierItem"
        self.item = self.bus.get_object(sender, path, introspect=False)

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, _interface, name):
        return {"IsStatusNotifierHostRegistered": True, "ProtocolVersion": dbus.Int32(0)}[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, _interface):
        return {"IsStatusNotifierHostRegistered": True, "ProtocolVersion": dbus.Int32(0)}

    def click(self, _source, _condition):
        if not sys.stdin.readline():
            return False
        self.item.Activate(600, 700, dbus_interface=ITEM)
        print("CLICKED", flush=True)
        return True


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
watcher = Watcher(dbus.SessionBus())
GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, watcher.click)
print("READY", flush=True)
GLib.MainLoop().run()
