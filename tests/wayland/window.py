#!/usr/bin/python3
# A window of another program for the desktop tests: window.py APP_ID TITLE [NEW_TITLE AFTER_MS]
# GDK_BACKEND=wayland makes it a native window with that app id; GDK_BACKEND=x11 an X window whose
# class is the app id with its first letter in capitals.
import sys

import gi
from gi.repository import GLib

# Before the toolkit starts, which takes its class from the program's name.
GLib.set_prgname(sys.argv[1])
gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402
window = Gtk.Window(title=sys.argv[2])
window.set_default_size(320, 200)
window.connect("destroy", Gtk.main_quit)
window.show_all()
if len(sys.argv) > 4:
    GLib.timeout_add(int(sys.argv[4]), lambda: window.set_title(sys.argv[3]) and False)
print("shown", flush=True)
Gtk.main()
