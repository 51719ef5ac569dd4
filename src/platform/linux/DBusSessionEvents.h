#pragma once

#include "platform/SessionEvents.h"

#include <QCoro/QCoroTask>
#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>

namespace platform {

// Sleep, wake and the session's state as logind tells them on the system bus, and the screen
// saver on the session bus. The buses are joined in the background and every call waits a
// bounded time, so a missing or silent bus costs only its events and never holds up the program.
class DBusSessionEvents final : public SessionEvents {
    Q_OBJECT
public:
    // An empty address stands for a bus that is not there.
    DBusSessionEvents(const QString& systemBus, const QString& sessionBus, QObject* parent = nullptr);
    ~DBusSessionEvents() override;

    // The addresses that the environment gives, with the system bus's usual place.
    static QString systemBusAddress();
    static QString sessionBusAddress();

    bool isSessionActive() const override;

private Q_SLOTS:
    void prepareForSleep(bool sleeping);
    void sessionLocked();
    void sessionUnlocked();
    void sessionPropertiesChanged(const QString& interface, const QVariantMap& changed);
    void screenSaverChanged(bool active);

private:
    // A bus connection in the making; it is dropped again if its owner has gone meanwhile.
    struct Link {
        QString name;
        std::atomic<bool> wanted{true};
    };

    std::shared_ptr<Link> join(const QString& address, std::function<void(QDBusConnection)> then);
    void attachSystem(QDBusConnection bus);
    void attachSession(QDBusConnection bus);
    QCoro::Task<> followSession(QDBusConnection bus);
    QCoro::Task<> holdSleep(QDBusConnection bus);
    QCoro::Task<> readScreenSaver(QDBusConnection bus);
    void change(bool& field, bool value);

    std::shared_ptr<Link> systemLink;
    std::shared_ptr<Link> sessionLink;
    QDBusConnection system{QString()};
    // Holding it lets logind wait, briefly, until the listeners have heard of the sleep.
    QDBusUnixFileDescriptor sleepDelay;
    bool sessionActive = true;
    bool locked = false;
    bool screenSaver = false;
};

} // namespace platform
