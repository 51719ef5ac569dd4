
export default class MirkVantleAgentsExtension extends Extension {
    enable() {
        this._reporter = new FrontReporter();
        this._reporter.start();
    }

    disable() {
        this._reporter.stop();
        this._reporter = null;
    }
}
