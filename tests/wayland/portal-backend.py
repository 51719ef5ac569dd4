#!/usr/bin/python3
# A desktop's side of the global shortcuts portal, for tests: xdg-desktop-portal hands it the
# program's requests, and the test presses its shortcuts, changes their keys or ends the session
# through the control interface below.
import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
IMPL = "org.freedesktop.impl.portal.GlobalShortcuts"
CONTROL = "app.mirkvantle.TestPortal"
PATH = "/org/freedesktop/portal/desktop"


class Session(dbus.service.Object):
    def __init__(self, bus, path):
        super().__init__(bus, path)
        self.path = path
        self.shortcuts = {}  # id -> (description, trigger)

    @dbus.service.method("org.freedesktop.impl.portal.Session")
    def Close(self):
        backend.sessions.pop(self.path, None)
        self.remove_from_connection()

    @dbus.service.signal("org.freedesktop.impl.portal.Session", signature="")
    def Closed(self):
        pass


class Backend(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(bus, PATH)
        self.bus = bus
        self.sessions = {}
        self.refused = set()
        self.asked = []

    def listed(self, session):
        return dbus.Array([dbus.Struct((i, {"description": d, "trigger_description": t}), signature="sa{sv}")
                           for i, (d, t) in session.shortcuts.items()], signature="(sa{sv})")

    @dbus.service.method(IMPL, in_signature="oosa{sv}", out_signature="ua{sv}")
    def CreateSession(self, handle, session_handle, app_id, options):
        self.sessions[str(session_handle)] = Session(self.bus, session_handle)
        return 0, {"session_handle": dbus.String(session_handle), "shortcuts": dbus.Array([], signature="(sa{sv})")}

    @dbus.service.method(IMPL, in_signature="ooa(sa{sv})sa{sv}", out_signature="ua{sv}")
    def BindShortcuts(self, handle, session_handle, shortcuts, parent_window, options):
        session = self.sessions[str(session_handle)]
        for i, o in shortcuts:
            self.asked.append((str(i), str(o.get("description", "")), str(o.get("preferred_trigger", ""))))
            if "*" not in self.refused and str(i) not in self.refused:
                session.shortcuts[str(i)] = (str(o.get("description", "")), str(o.get("preferred_trigger", "")))
        return 0, {"shortcuts": self.listed(session)}

    @dbus.service.method(IMPL, in_signature="oo", out_signature="ua{sv}")
    def ListShortcuts(self, handle, session_handle):
        return 0, {"shortcuts": self.listed(self.sessions[str(session_handle)])}

    @dbus.service.signal(IMPL, signature="osta{sv}")
    def Activated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(IMPL, signature="osta{sv}")
    def Deactivated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(IMPL, signature="oa(sa{sv})")
    def ShortcutsChanged(self, session_handle, shortcuts):
        pass

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return dbus.UInt32(1)

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"version": dbus.UInt32(1)}

    # The test's side.
    @dbus.service.method(CONTROL, in_signature="as")
    def Refuse(self, ids):
        self.refused = set(str(i) for i in ids)

    # Each shortcut asked for, as "id|description|preferred trigger".
    @dbus.service.method(CONTROL, out_signature="as")
    def Asked(self):
        return ["|".join(a) for a in self.asked]

    # A key pressed, told again `repeats` times while held, then let go. Returns the sessions told.
    @dbus.service.method(CONTROL, in_signature="su", out_signature="u")
    def Press(self, shortcut, repeats):
        told = [s for s in self.sessions.values() if shortcut in s.shortcuts]
        for s in told:
            for n in range(repeats + 1):
                self.Activated(s.path, shortcut, dbus.UInt64(1000 + n), {})
            self.Deactivated(s.path, shortcut, dbus.UInt64(2000), {})
        return len(told)

    # How many sessions hold the shortcut.
    @dbus.service.method(CONTROL, in_signature="s", out_signature="u")
    def Holders(self, shortcut):
        return sum(1 for s in self.sessions.values() if shortcut in s.shortcuts)

    @dbus.service.method(CONTROL, in_signature="ss")
    def Change(self, shortcut, trigger):
        for s in self.sessions.values():
            if shortcut in s.shortcuts:
                s.shortcuts[shortcut] = (s.shortcuts[shortcut][0], trigger)
                self.ShortcutsChanged(s.path, self.listed(s))

    @dbus.service.method(CONTROL)
    def EndSessions(self):
        for s in list(self.sessions.values()):
            s.Closed()
            s.Close()


bus = dbus.SessionBus()
backend = Backend(bus)
name = dbus.service.BusName("org.freedesktop.impl.portal.desktop.mirktest", bus)
GLib.MainLoop().run()
