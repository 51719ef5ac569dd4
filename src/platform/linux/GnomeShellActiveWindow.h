#pragma once

#include "platform/linux/ReportedActiveWindow.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantMap>

namespace platform {

// The window in front on GNOME Shell's Wayland session, from the program's own Shell extension,
// which tells it on the session bus at every change of focus. The shell lets no other program
// ask. Without the extension, or with it turned off, nothing is seen; the settings window offers
// to turn it on.
class GnomeShellActiveWindow final : public QObject, public ReportedActiveWindow {
    Q_OBJECT
public:
    explicit GnomeShellActiveWindow(QDBusConnection bus = QDBusConnection::sessionBus());

    void turnOn() override;

private slots:
    void frontChanged(const QString& wmClass, const QString& title, const QString& appID, uint pid,
                      bool focused);
    void titleChanged(const QString& title);
    void extensionStateChanged(const QString& uuid, const QVariantMap& state);

private:
    void reporterAppeared();
    void reporterGone();
    void askExtensionState();
    void sawState(const QVariantMap& state);

    QDBusConnection bus;
    QDBusServiceWatcher watcher;
    bool reporterPresent = false;
};

} // namespace platform
