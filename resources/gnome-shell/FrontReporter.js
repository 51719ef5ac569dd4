// Tells Mirk Vantle Agents which window has the focus, for the activity record that the program
// keeps on this computer. The program cannot learn it otherwise on a Wayland session. Nothing
// leaves the session bus.

const REPORTER_INTERFACE = `<node>
  <interface name="app.mirkvantle.Agents.Shell">
    <method name="Front">
      <arg type="s" direction="out" name="wmClass"/>
      <arg type="s" direction="out" name="title"/>
      <arg type="s" direction="out" name="appId"/>
      <arg type="u" direction="out" name="pid"/>
      <arg type="b" direction="out" name="focused"/>
    </method>
    <signal name="FrontChanged">
      <arg type="s" name="wmClass"/>
      <arg type="s" name="title"/>
      <arg type="s" name="appId"/>
      <arg type="u" name="pid"/>
      <arg type="b" name="focused"/>
    </signal>
    <signal name="TitleChanged">
      <arg type="s" name="title"/>
    </signal>
  </interface>
</node>`;

const REPORTER_NAME = 'app.mirkvantle.Agents.Shell';
const REPORTER_PATH = '/app/mirkvantle/Agents/Shell';

class FrontReporter {
    start() {
        this._object = Gio.DBusExportedObject.wrapJSObject(REPORTER_INTERFACE, this);
        this._object.export(Gio.DBus.session, REPORTER_PATH);
        this._nameId = Gio.bus_own_name_on_connection(Gio.DBus.session, REPORTER_NAME,
            Gio.BusNameOwnerFlags.NONE, null, null);
        this._window = null;
        this._titleId = 0;
        this._focusId = global.display.connect('notify::focus-window', () => this._focusChanged());
        this._focusChanged();
    }

    stop() {
        global.display.disconnect(this._focusId);
        this._untrack();
        Gio.bus_unown_name(this._nameId);
        this._object.unexport();
        this._object = null;
    }

    Front() {
        return this._describe();
    }

    _describe() {
        const window = this._window;
        if (!window)
            return ['', '', '', 0, false];
        const appId = window.get_gtk_application_id() || window.get_sandboxed_app_id() || '';
        return [window.get_wm_class() || '', window.get_title() || '', appId, window.get_pid() > 0 ? window.get_pid() : 0,
            true];
    }

    _untrack() {
        if (this._window && this._titleId)
            this._window.disconnect(this._titleId);
        this._window = null;
        this._titleId = 0;
    }

    _focusChanged() {
        const focused = global.display.focus_window;
        if (focused === this._window)
            return;
        this._untrack();
        this._window = focused;
        if (focused) {
            this._titleId = focused.connect('notify::title', () => {
                this._object.emit_signal('TitleChanged', new GLib.Variant('(s)', [focused.get_title() || '']));
            });
        }
        this._object.emit_signal('FrontChanged', new GLib.Variant('(sssub)', this._describe()));
    }
}
