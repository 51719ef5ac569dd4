
// The program's global shortcuts, which GNOME Shell grants to no other program on a Wayland
// session: the shell binds them and tells the program over the session bus. The keys live in the
// extension's own settings, so they can be changed like the shell's own.
const SHORTCUT_ACTIONS = ['chat', 'next-agent', 'agent-1', 'agent-2', 'agent-3', 'agent-4'];

class ShortcutRelay {
    constructor(settings) {
        this._settings = settings;
    }

    start() {
        for (const action of SHORTCUT_ACTIONS) {
            Main.wm.addKeybinding(`mirkvantle-${action}`, this._settings,
                Meta.KeyBindingFlags.IGNORE_AUTOREPEAT, Shell.ActionMode.ALL, () => this._tell(action));
        }
    }

    stop() {
        for (const action of SHORTCUT_ACTIONS)
            Main.wm.removeKeybinding(`mirkvantle-${action}`);
        this._settings = null;
    }

    _tell(action) {
        Gio.DBus.session.call('app.mirkvantle.Agents', '/app/mirkvantle/Agents/Shortcuts',
            'app.mirkvantle.Agents.Shortcuts', 'Activate', new GLib.Variant('(s)', [action]), null,
            Gio.DBusCallFlags.NO_AUTO_START, -1, null, null);
    }
}

// What the extension does while it is on: both halves, started and stopped together.
class AgentsExtensionParts {
    constructor(settings) {
        this._reporter = new FrontReporter();
        this._shortcuts = new ShortcutRelay(settings);
    }

    start() {
        this._reporter.start();
        this._shortcuts.start();
    }

    stop() {
        this._shortcuts.stop();
        this._reporter.stop();
    }
}
