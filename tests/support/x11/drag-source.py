#!/usr/bin/python3
# A small window of another toolkit that drags files as a file manager does: press on it, move
# the pointer away and release. Offers text/uri-list for the paths given, and prints "ready"
# once it is on screen and "done <action>" when a drag has ended.
import sys
import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk

paths = sys.argv[1:]
uris = [GLib.filename_to_uri(p, None) for p in paths]

window = Gtk.Window(title="drag-source")
window.set_default_size(160, 120)
window.move(20, 20)
box = Gtk.EventBox()
box.add(Gtk.Label(label="\n".join(p.rsplit("/", 1)[-1] for p in paths) or "nothing"))
window.add(box)
box.drag_source_set(Gdk.ModifierType.BUTTON1_MASK, [], Gdk.DragAction.COPY)
box.drag_source_add_uri_targets()


def on_get(widget, context, selection, info, time):
    selection.set_uris(uris)


def on_end(widget, context):
    print("done", flush=True)


box.connect("drag-data-get", on_get)
box.connect("drag-end", on_end)
window.connect("destroy", Gtk.main_quit)
window.connect("map-event", lambda *a: print("ready", flush=True))
window.show_all()
Gtk.main()
