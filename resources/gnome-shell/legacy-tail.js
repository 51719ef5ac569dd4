
class MirkVantleAgentsExtension {
    enable() {
        this._reporter = new FrontReporter();
        this._reporter.start();
        this._shortcuts = new ShortcutRelay(ExtensionUtils.getSettings('app.mirkvantle.Agents.shortcuts'));
        this._shortcuts.start();
    }

    disable() {
        this._shortcuts.stop();
        this._shortcuts = null;
        this._reporter.stop();
        this._reporter = null;
    }
}

function init() {
    return new MirkVantleAgentsExtension();
}
