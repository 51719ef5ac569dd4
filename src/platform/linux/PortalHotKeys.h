#pragma once

#include "platform/HotKeyGrabber.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>

#include <map>
#include <memory>

class QDBusMessage;

namespace platform {

// The program's shortcuts through the desktop's global shortcuts portal, which binds keys for
// programs on desktops that let none grab them (KDE Plasma, newer GNOME, Hyprland). One portal
// session holds all of them; the desktop may let the user choose other keys, and says which.
//
// A portal that binds none of them (one that knows no app id for a program outside a sandbox
// does that) is as good as none: the shortcuts move to the next means this desktop has, once.
// A session the desktop ends leaves the shortcuts dead until the program starts again.
class PortalHotKeys final : public QObject, public HotKeyGrabber {
    Q_OBJECT
public:
    using Fallback = std::function<std::shared_ptr<HotKeyGrabber>()>;

    // Whether the portal offers global shortcuts; asks it and waits at most timeoutMs.
    static bool offered(QDBusConnection bus, int timeoutMs);

    PortalHotKeys(QDBusConnection bus, Fallback fallback);
    ~PortalHotKeys() override;

    int grab(unsigned keysym, const QString& description, std::function<void()> fn) override;
    void release(int id) override;
    bool works(int id) override;
    Reach reach() override;
    QString keys(int id) override;

private slots:
    void answered(const QDBusMessage& response);
    void activated(const QDBusMessage& signal);
    void deactivated(const QDBusMessage& signal);
    void shortcutsChanged(const QDBusMessage& signal);
    void sessionClosed();

private:
    enum class State { starting, bound, fellThrough, ended };
    struct Grab {
        QString name;
        QString description;
        unsigned keysym = 0;
        std::function<void()> fn;
        bool asked = false; // in a request to bind
        bool bound = false;
        bool refusalSaid = false;
        bool held = false;
        QString trigger; // the keys as the portal words them
        int fallbackId = 0;
    };

    // Sends a portal request and calls then with its results once the portal answers; a
    // refused or cancelled request calls then with nothing.
    void request(const QString& method, QVariantList arguments, const QString& token,
                 std::function<void(const QVariantMap*)> then);
    void bindWhenReady();
    void bound(const QVariantMap* results);
    void fallThrough(const char* why);
    void end(const char* why);
    void readTriggers(const QVariant& shortcuts);
    Grab* named(const QString& name);

    QDBusConnection bus;
    Fallback makeFallback;
    std::shared_ptr<HotKeyGrabber> fallback;
    QDBusServiceWatcher portal;
    State state = State::starting;
    QString session;
    bool bindQueued = false;
    bool binding = false;
    std::map<int, Grab> grabs;
    std::map<QString, std::function<void(const QVariantMap*)>> waiting; // by request path
    int next = 1;
    int tokens = 0;
};

} // namespace platform
