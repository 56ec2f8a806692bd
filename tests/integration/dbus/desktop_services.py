#!/usr/bin/python3
"""The services of a desktop, as a test wants them.

usage: desktop_services.py ADDRESS SERVICE...

Offers each SERVICE (see SERVICES below) on the bus at ADDRESS, over a connection of its own, and
prints READY. Every object is a mock, to be changed through the interface org.freedesktop.DBus.Mock;
/control says who is inhibited right now.
"""

import os
import sys

import dbus
import dbus.bus
import dbus.mainloop.glib
import dbus.service
from dbusmock.mockobject import DBusMockObject
from gi.repository import GLib

CONTROL = "org.example.DesktopServices"
SESSION = "org.freedesktop.login1.Session"

inhibitions = []  # (service, who wants it, the request's fields in words)
grants = 0  # inhibitions so far
gate = None  # a named pipe that Inhibit reads a byte from before it answers


def grant(entry):
    global grants
    grants += 1
    inhibitions.append(entry)
    control.Changed()


def give_up(entry):
    if entry in inhibitions:
        inhibitions.remove(entry)
        control.Changed()


class Inhibitable(DBusMockObject):
    """Keeps what it grants until it is given back or the one who asked is gone."""

    service = ""
    last_cookie = 100

    def grant(self, sender, *fields):
        if gate is not None:
            os.read(os.open(gate, os.O_RDONLY), 1)
        Inhibitable.last_cookie += 1
        cookie = Inhibitable.last_cookie
        entry = (self.service, f"{sender} {cookie}", " ".join(str(field) for field in fields))
        grant(entry)
        self.connection.watch_name_owner(sender, lambda owner: owner or give_up(entry))
        return dbus.UInt32(cookie)

    def give_back(self, sender, cookie):
        for entry in inhibitions:
            if entry[:2] == (self.service, f"{sender} {cookie}"):
                give_up(entry)
                return
        raise dbus.exceptions.DBusException("no such cookie", name="org.example.NoSuchCookie")


def screen_saver(interface):
    """The class of a screen saver that can be inhibited through that interface."""

    class Saver(Inhibitable):
        service = interface

        @dbus.service.method(interface, in_signature="ss", out_signature="u",
                             sender_keyword="sender")
        def Inhibit(self, who, why, sender=None):
            return self.grant(sender, who, why)

        @dbus.service.method(interface, in_signature="u", sender_keyword="sender")
        def UnInhibit(self, cookie, sender=None):
            self.give_back(sender, cookie)

    return Saver


ScreenSaver = screen_saver("org.freedesktop.ScreenSaver")
XfceScreenSaver = screen_saver("org.xfce.ScreenSaver")


class SessionManager(Inhibitable):
    service = "org.gnome.SessionManager"

    @dbus.service.method("org.gnome.SessionManager", in_signature="susu", out_signature="u",
                         sender_keyword="sender")
    def Inhibit(self, who, window, why, flags, sender=None):
        return self.grant(sender, who, window, why, flags)

    @dbus.service.method("org.gnome.SessionManager", in_signature="u", sender_keyword="sender")
    def Uninhibit(self, cookie, sender=None):
        self.give_back(sender, cookie)


class LoginManager(Inhibitable):
    """Keeps what it grants until the last copy of the descriptor it hands out is closed."""

    service = "org.freedesktop.login1"

    @dbus.service.method("org.freedesktop.login1.Manager", in_signature="ssss", out_signature="h")
    def Inhibit(self, what, who, why, mode):
        return self.grant_descriptor(what, who, why, mode)

    def grant_descriptor(self, what, who, why, mode):
        if gate is not None:
            os.read(os.open(gate, os.O_RDONLY), 1)
        ours, theirs = os.pipe()
        entry = (self.service, str(ours), f"{what} {who} {why} {mode}")

        def closed(descriptor, _condition):
            os.close(descriptor)
            give_up(entry)
            return False

        GLib.unix_fd_add_full(GLib.PRIORITY_DEFAULT, ours, GLib.IO_HUP, closed)
        handed_out = dbus.types.UnixFd(theirs)
        os.close(theirs)
        grant(entry)
        return handed_out


class Control(dbus.service.Object):
    methods = {}  # the mocks' look-up of methods wants it of every object

    @dbus.service.method(CONTROL, in_signature="s")
    def Own(self, name):
        connections[name].request_name(name)

    @dbus.service.method(CONTROL, in_signature="s")
    def Release(self, name):
        connections[name].release_name(name)

    @dbus.service.method(CONTROL, in_signature="s")
    def SetGate(self, pipe):
        global gate
        gate = str(pipe) or None

    @dbus.service.method(CONTROL, out_signature="as")
    def Inhibitions(self):
        return dbus.Array(sorted(f"{entry[0]}: {entry[2]}" for entry in inhibitions), signature="s")

    @dbus.service.method(CONTROL, out_signature="u")
    def Grants(self):
        return dbus.UInt32(grants)

    @dbus.service.signal(CONTROL)
    def Changed(self):
        pass


def connect():
    connection = dbus.bus.BusConnection(sys.argv[1])
    connection.set_exit_on_disconnect(True)
    return connection


def own(name, connection):
    return dbus.service.BusName(name, bus=connection, do_not_queue=True)


def saver(path, name, kind=DBusMockObject):
    mock = kind(names[name], path, name, {})
    mock.AddMethod("", "GetActive", "", "b", "ret = False")
    mock.AddMethod("", "SimulateUserActivity", "", "", "")
    return mock


def shield(name):
    mock = DBusMockObject(names[name], "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver", {})
    mock.AddMethod("", "GetActive", "", "b", "ret = False")
    return mock


def logind(name):
    manager = LoginManager(names[name], "/org/freedesktop/login1",
                           "org.freedesktop.login1.Manager", {})
    # The session "7" exists, and is what "auto" means.
    manager.AddMethod("", "GetSession", "s", "o", """
if args[0] not in ("7", "auto"):
    raise dbus.exceptions.DBusException("no session", name="org.freedesktop.login1.NoSuchSession")
ret = "/org/freedesktop/login1/session/_37"
""")
    session = DBusMockObject(names[name], "/org/freedesktop/login1/session/_37", SESSION,
                             {"LockedHint": False, "IdleHint": False})
    return [manager, session]


def portal(name):
    mock = DBusMockObject(names[name], "/org/freedesktop/portal/desktop",
                          "org.freedesktop.portal.Settings", {})
    # Dark; a variant in a variant, as portals have answered ever since the first did.
    mock.AddMethod("", "Read", "ss", "v", "ret = dbus.UInt32(1, variant_level=2)")
    return mock


SERVICES = {
    "org.freedesktop.ScreenSaver":
        lambda name: saver("/org/freedesktop/ScreenSaver", name, ScreenSaver),
    "org.gnome.Shell.ScreenShield": shield,
    "org.gnome.ScreenSaver": lambda name: saver("/org/gnome/ScreenSaver", name),
    "org.mate.ScreenSaver": lambda name: saver("/org/mate/ScreenSaver", name),
    "org.xfce.ScreenSaver": lambda name: saver("/org/xfce/ScreenSaver", name, XfceScreenSaver),
    "org.cinnamon.ScreenSaver": lambda name: saver("/org/cinnamon/ScreenSaver", name),
    "org.gnome.SessionManager":
        lambda name: SessionManager(names[name], "/org/gnome/SessionManager", name, {}),
    "org.freedesktop.login1": logind,
    "org.freedesktop.portal.Desktop": portal,
}

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
connections = {}
names = {}
mocks = []
for service in sys.argv[2:]:
    # "NAME@/path": the screen saver is at that path alone.
    service, _, other_path = service.partition("@")
    connections[service] = connect()
    names[service] = own(service, connections[service])
    mocks.append(saver(other_path, service, ScreenSaver) if other_path
                 else SERVICES[service](service))
control_connection = connect()
control_name = own(CONTROL, control_connection)
control = Control(control_connection, "/control")
print("READY", flush=True)
# Nobody reads what the mocks report of themselves.
os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
GLib.MainLoop().run()
