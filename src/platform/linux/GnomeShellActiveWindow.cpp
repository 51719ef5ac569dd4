#include "platform/linux/GnomeShellActiveWindow.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>
#include <QtDebug>

namespace platform {
namespace {

const QString reporterService = QStringLiteral("app.mirkvantle.Agents.Shell");
const QString reporterPath = QStringLiteral("/app/mirkvantle/Agents/Shell");
const QString reporterInterface = QStringLiteral("app.mirkvantle.Agents.Shell");
const QString shellService = QStringLiteral("org.gnome.Shell");
const QString extensionsPath = QStringLiteral("/org/gnome/Shell");
const QString extensionsInterface = QStringLiteral("org.gnome.Shell.Extensions");
const QString uuid = QStringLiteral(MIRK_GNOME_EXTENSION_UUID);
// The shell's own numbers for an extension's state.
constexpr int enabledState = 1;

} // namespace

GnomeShellActiveWindow::GnomeShellActiveWindow(QDBusConnection b)
    : bus(std::move(b)), watcher(reporterService, bus, QDBusServiceWatcher::WatchForOwnerChange) {
    connect(&watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { reporterAppeared(); });
    connect(&watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { reporterGone(); });
    bus.connect(QString(), reporterPath, reporterInterface, QStringLiteral("FrontChanged"), this,
                SLOT(frontChanged(QString, QString, QString, uint, bool)));
    bus.connect(QString(), reporterPath, reporterInterface, QStringLiteral("TitleChanged"), this,
                SLOT(titleChanged(QString)));
    bus.connect(shellService, extensionsPath, extensionsInterface, QStringLiteral("ExtensionStateChanged"),
                this, SLOT(extensionStateChanged(QString, QVariantMap)));
    if (bus.interface() && bus.interface()->isServiceRegistered(reporterService)) {
        reporterAppeared();
    } else {
        reporterGone();
    }
}

void GnomeShellActiveWindow::reporterAppeared() {
    reporterPresent = true;
    setSight({Sight::Reach::allWindows, Sight::Cause::none});
    // The window already in front when the program starts or the extension comes on.
    auto call = bus.asyncCall(QDBusMessage::createMethodCall(reporterService, reporterPath, reporterInterface,
                                                             QStringLiteral("Front")));
    auto* pending = new QDBusPendingCallWatcher(call, this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        const QDBusPendingReply<QString, QString, QString, uint, bool> reply = *finished;
        if (reply.isValid() && reporterPresent) {
            frontChanged(reply.argumentAt<0>(), reply.argumentAt<1>(), reply.argumentAt<2>(),
                         reply.argumentAt<3>(), reply.argumentAt<4>());
        }
    });
}

void GnomeShellActiveWindow::reporterGone() {
    reporterPresent = false;
    activated(std::nullopt);
    askExtensionState();
}

void GnomeShellActiveWindow::askExtensionState() {
    QDBusMessage message = QDBusMessage::createMethodCall(shellService, extensionsPath, extensionsInterface,
                                                          QStringLiteral("GetExtensionInfo"));
    message.setArguments({uuid});
    auto* pending = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        const QDBusPendingReply<QVariantMap> reply = *finished;
        sawState(reply.isValid() ? reply.value() : QVariantMap());
    });
}

void GnomeShellActiveWindow::sawState(const QVariantMap& state) {
    if (reporterPresent) {
        return;
    }
    // The shell knows of an extension only once it has found its folder, at the session's start.
    if (state.isEmpty()) {
        setSight({Sight::Reach::nothing, Sight::Cause::extensionMissing});
    } else {
        setSight({Sight::Reach::nothing, Sight::Cause::extensionOff});
    }
}

void GnomeShellActiveWindow::extensionStateChanged(const QString& changed, const QVariantMap& state) {
    if (changed == uuid && state.value(QStringLiteral("state")).toInt() != enabledState) {
        sawState(state);
    }
}

void GnomeShellActiveWindow::turnOn() {
    QDBusMessage message = QDBusMessage::createMethodCall(shellService, extensionsPath, extensionsInterface,
                                                          QStringLiteral("EnableExtension"));
    message.setArguments({uuid});
    auto* pending = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        const QDBusPendingReply<bool> reply = *finished;
        if (!reply.isValid() || !reply.value()) {
            qInfo("GNOME Shell did not turn the program's extension on.");
        }
    });
}

void GnomeShellActiveWindow::frontChanged(const QString& wmClass, const QString& title, const QString& appID,
                                          uint pid, bool focused) {
    if (!reporterPresent) {
        return;
    }
    if (!focused) {
        activated(std::nullopt);
        return;
    }
    // The class is the app id for a native window; an application id names its desktop entry.
    activated(Window{wmClass.isEmpty() ? appID : wmClass, QString(), appID, title, static_cast<qint64>(pid)});
}

void GnomeShellActiveWindow::titleChanged(const QString& title) {
    if (reporterPresent) {
        retitled(title);
    }
}

} // namespace platform
