#include "platform/linux/XdgDesktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>

namespace platform {

bool XdgDesktop::open(const QUrl& url) {
    return QDesktopServices::openUrl(url);
}

void XdgDesktop::reveal(const QString& path) {
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    message << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    // Asynchronous, so that a file manager that is slow to start never holds up the program;
    // with none on the bus the folder opens instead.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, 5000));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, folder] {
        if (watcher->isError()) {
            QDesktopServices::openUrl(folder);
        }
        watcher->deleteLater();
    });
}

} // namespace platform
