// For the tests' headless sessions only: the tests focus windows and read the shell's state
// through org.gnome.Shell.Eval, which needs the shell's unsafe mode, and the overview that a
// fresh session opens at start would hold the focus.
const Main = imports.ui.main;

class TestHelper {
    enable() {
        global.context.unsafe_mode = true;
        if (Main.layoutManager._startingUp)
            this._startupId = Main.layoutManager.connect('startup-complete', () => Main.overview.hide());
        else
            Main.overview.hide();
    }

    disable() {
        if (this._startupId)
            Main.layoutManager.disconnect(this._startupId);
        global.context.unsafe_mode = false;
    }
}

function init() {
    return new TestHelper();
}
