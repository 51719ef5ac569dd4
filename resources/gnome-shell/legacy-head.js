// GNOME Shell 43 and 44 load extensions as scripts.
const {Gio, GLib} = imports.gi;

