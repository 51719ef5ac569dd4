#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <memory>
#include <vector>

// A dbus-daemon of the test's own. It stands for whichever bus the code under test is pointed
// at, the system bus included; stand-in services of python3-dbusmock run on it.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    bool isRunning() const { return !busAddress.isEmpty(); }
    QString address() const { return busAddress; }

    // Whether stand-in services can be started at all.
    static bool canMock();
    // Starts python3-dbusmock with these arguments; true once the service owns its name.
    bool mock(const QStringList& arguments, const QString& name);
    // A call from the test's own connection, answered before it returns.
    QDBusMessage call(const QString& service, const QString& path, const QString& interface,
                      const QString& method, const QVariantList& arguments = {});

private:
    QProcess daemon;
    std::vector<std::unique_ptr<QProcess>> mocks;
    QString busAddress;
    QString connectionName;
};
