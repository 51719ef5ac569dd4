
export default class MirkVantleAgentsExtension extends Extension {
    enable() {
        this._parts = new AgentsExtensionParts(this.getSettings('app.mirkvantle.Agents.shortcuts'));
        this._parts.start();
    }

    disable() {
        this._parts.stop();
        this._parts = null;
    }
}
