// GNOME Shell 43 and 44 load extensions as scripts.
const {Gio, GLib, Meta, Shell} = imports.gi;
const Main = imports.ui.main;
const ExtensionUtils = imports.misc.extensionUtils;

