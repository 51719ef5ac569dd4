
class MirkVantleAgentsExtension {
    enable() {
        this._parts = new AgentsExtensionParts(ExtensionUtils.getSettings('app.mirkvantle.Agents.shortcuts'));
        this._parts.start();
    }

    disable() {
        this._parts.stop();
        this._parts = null;
    }
}

function init() {
    return new MirkVantleAgentsExtension();
}
