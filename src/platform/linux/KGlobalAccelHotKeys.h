#pragma once

#include "platform/HotKeyGrabber.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QStringList>

#include <map>

namespace platform {

// The program's shortcuts on KDE Plasma without a working portal: registered with KDE's global
// shortcut service, as KDE's own programs register theirs, so the system settings list them and
// let the user change their keys. A key the service will not give (another program has it) costs
// only that shortcut. When the service comes back after going away, the shortcuts are registered
// again.
class KGlobalAccelHotKeys final : public QObject, public HotKeyGrabber {
    Q_OBJECT
public:
    // The program's name in the service's list of components.
    static constexpr const char* component = "mirkvantle-agents";

    explicit KGlobalAccelHotKeys(QDBusConnection bus = QDBusConnection::sessionBus());
    ~KGlobalAccelHotKeys() override;

    // Whether the service runs on this bus now.
    static bool available(QDBusConnection bus);

    int grab(unsigned keysym, const QString& description, std::function<void()> fn) override;
    void release(int id) override;
    bool works(int id) override;
    Reach reach() override { return Reach::kdeService; }
    QString keys(int id) override;

private slots:
    void pressed(const QString& component, const QString& action, qlonglong timestamp);
    void released(const QString& component, const QString& action, qlonglong timestamp);
    void changed(const QStringList& actionId, const QList<int>& keys);

private:
    struct Grab {
        QString name;
        QString description;
        int usual = 0; // Control+Alt and the key asked for, as a Qt key code
        std::function<void()> fn;
        int key = 0; // what the service gave; 0 for none
        bool held = false;
        bool refusalSaid = false; // of a key the service refused when it came back
    };

    QStringList actionId(const Grab& grab) const;
    void registerWithService(Grab& grab);

    QDBusConnection bus;
    QDBusServiceWatcher service;
    std::map<int, Grab> grabs;
    bool listening = false; // to the component's presses, which outlives the service's owner
    // The service tells of let-go keys only in newer versions; until it has, every press acts.
    bool releasesTold = false;
    int next = 1;
};

} // namespace platform
