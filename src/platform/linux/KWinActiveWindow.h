#pragma once

#include "platform/linux/ReportedActiveWindow.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>

#include <memory>

namespace platform {

// The window in front on KDE Plasma's Wayland session. KWin tells no other program which window
// is active, but it runs scripts: the program loads a small one over D-Bus that calls back on
// every activation and every change of the active window's caption. The script is unloaded when
// the program quits.
class KWinActiveWindow final : public QObject, public ReportedActiveWindow, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.mirkvantle.Agents.KWinReport")
public:
    explicit KWinActiveWindow(QDBusConnection bus = QDBusConnection::sessionBus());
    ~KWinActiveWindow() override;

    // The script's source, calling back to that bus name and object path.
    static QString script(const QString& service, const QString& path);

public slots:
    // Called by the script. pid is KWin's decimal text, "0" when it does not know.
    Q_SCRIPTABLE void Activated(const QString& resourceClass, const QString& caption,
                                const QString& desktopFileName, const QString& pid);
    Q_SCRIPTABLE void Deactivated();
    Q_SCRIPTABLE void CaptionChanged(const QString& caption);

private:
    bool fromKWin() const;
    void load();
    void unload();

    QDBusConnection bus;
    QString scriptPath;
};

} // namespace platform
