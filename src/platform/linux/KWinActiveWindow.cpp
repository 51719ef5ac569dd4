#include "platform/linux/KWinActiveWindow.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QtDebug>

namespace platform {
namespace {

const QString kwinService = QStringLiteral("org.kde.KWin");
const QString scriptingPath = QStringLiteral("/Scripting");
const QString scriptingInterface = QStringLiteral("org.kde.kwin.Scripting");
const QString objectPath = QStringLiteral("/app/mirkvantle/Agents/KWinReport");
const QString pluginName = QStringLiteral("mirkvantle-agents-front");
// KWin is asked only at start and at quit; a KWin that hangs must not hold the program up.
constexpr int callTimeoutMs = 2000;

QDBusMessage scripting(const QString& method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(kwinService, scriptingPath, scriptingInterface, method);
    message.setArguments(arguments);
    return message;
}

// A JavaScript string literal of any text.
QString quoted(const QString& text) {
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == u'"' || c == u'\\') {
            out += u'\\';
        }
        out += c;
    }
    return out + u'"';
}

} // namespace

KWinActiveWindow::KWinActiveWindow(QDBusConnection b) : bus(std::move(b)) {
    bus.registerObject(objectPath, this, QDBusConnection::ExportScriptableSlots);
    load();
}

KWinActiveWindow::~KWinActiveWindow() {
    unload();
    bus.unregisterObject(objectPath);
}

QString KWinActiveWindow::script(const QString& service, const QString& path) {
    // Plasma 5 names windows clients, Plasma 6 windows; the script follows whichever it meets.
    return QStringLiteral(
               R"(// Tells Mirk Vantle Agents which window is in front, for its private activity record.
var service = %1, path = %2, iface = "app.mirkvantle.Agents.KWinReport";
var tracked = null;
function captionChanged() {
    if (tracked)
        callDBus(service, path, iface, "CaptionChanged", String(tracked.caption));
}
function activated(window) {
    if (tracked)
        tracked.captionChanged.disconnect(captionChanged);
    tracked = window;
    if (!window) {
        callDBus(service, path, iface, "Deactivated");
        return;
    }
    window.captionChanged.connect(captionChanged);
    callDBus(service, path, iface, "Activated", String(window.resourceClass), String(window.caption),
             String(window.desktopFileName), String(window.pid || 0));
}
if (workspace.windowActivated)
    workspace.windowActivated.connect(activated);
else
    workspace.clientActivated.connect(activated);
activated(workspace.activeWindow !== undefined ? workspace.activeWindow : workspace.activeClient);
)")
        .arg(quoted(service), quoted(path));
}

void KWinActiveWindow::load() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    scriptPath =
        folder + QStringLiteral("/mirkvantle-agents-kwin-%1.js").arg(QCoreApplication::applicationPid());
    QFile file(scriptPath);
    const auto privateFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate, privateFile) ||
        file.write(script(bus.baseService(), objectPath).toUtf8()) < 0 || !file.flush()) {
        qInfo("The window script for KWin could not be written; the record sees no windows.");
        setSight({Sight::Reach::nothing, Sight::Cause::kwinRefused});
        return;
    }
    file.close();
    // A script left by an earlier run that ended without quitting would report twice.
    bus.call(scripting(QStringLiteral("unloadScript"), {pluginName}), QDBus::Block, callTimeoutMs);
    const QDBusReply<int> id = bus.call(scripting(QStringLiteral("loadScript"), {scriptPath, pluginName}),
                                        QDBus::Block, callTimeoutMs);
    if (!id.isValid() || id.value() < 0) {
        qInfo("KWin did not load the window script; the record sees no windows.");
        setSight({Sight::Reach::nothing, Sight::Cause::kwinRefused});
        return;
    }
    setSight({Sight::Reach::allWindows, Sight::Cause::none});
    const QDBusMessage started =
        bus.call(scripting(QStringLiteral("start"), {}), QDBus::Block, callTimeoutMs);
    if (started.type() == QDBusMessage::ErrorMessage) {
        qInfo("KWin did not start the window script; the record sees no windows.");
        setSight({Sight::Reach::nothing, Sight::Cause::kwinRefused});
    }
}

void KWinActiveWindow::unload() {
    if (sight().reach == Sight::Reach::allWindows) {
        bus.call(scripting(QStringLiteral("unloadScript"), {pluginName}), QDBus::Block, callTimeoutMs);
    }
    if (!scriptPath.isEmpty()) {
        QFile::remove(scriptPath);
    }
}

// Only KWin speaks for the desktop; another program calling in is ignored.
bool KWinActiveWindow::fromKWin() const {
    if (!calledFromDBus()) {
        return true;
    }
    const auto owner = bus.interface() ? bus.interface()->serviceOwner(kwinService) : QDBusReply<QString>();
    return owner.isValid() && owner.value() == message().service();
}

void KWinActiveWindow::Activated(const QString& resourceClass, const QString& caption,
                                 const QString& desktopFileName, const QString& pid) {
    if (!fromKWin()) {
        return;
    }
    activated(Window{resourceClass, QString(), desktopFileName, caption, pid.toLongLong()});
}

void KWinActiveWindow::Deactivated() {
    if (fromKWin()) {
        activated(std::nullopt);
    }
}

void KWinActiveWindow::CaptionChanged(const QString& caption) {
    if (fromKWin()) {
        retitled(caption);
    }
}

} // namespace platform
