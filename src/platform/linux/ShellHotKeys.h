#pragma once

#include "platform/HotKeyGrabber.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusServiceWatcher>
#include <QHash>
#include <QObject>

namespace platform {

// The program's shortcuts on GNOME's Wayland session, where the shell lets no other program
// grab a key: the program's GNOME Shell extension binds them (the user may change the keys in its
// settings) and calls the program over the session bus. They work while the extension is on.
class ShellHotKeys final : public QObject, public HotKeyGrabber, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.mirkvantle.Agents.Shortcuts")
public:
    explicit ShellHotKeys(QDBusConnection bus = QDBusConnection::sessionBus());
    ~ShellHotKeys() override;

    int grab(unsigned keysym, const QString& description, std::function<void()> fn) override;
    void release(int id) override;
    bool works(int id) override;
    Reach reach() override { return Reach::shellExtension; }

    // The name the extension gives the shortcut of a key; empty for a key it does not bind.
    static QString actionName(unsigned keysym);

public slots:
    // Called by the extension when one of its keys is pressed.
    Q_SCRIPTABLE void Activate(const QString& action);

private:
    QDBusConnection bus;
    QDBusServiceWatcher extension;
    QHash<int, std::pair<QString, std::function<void()>>> grabbed;
    int next = 1;
};

} // namespace platform
