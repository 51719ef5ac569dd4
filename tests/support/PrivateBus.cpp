#include "support/PrivateBus.h"

#include "support/SpinUntil.h"

#include <QDBusConnectionInterface>
#include <QFile>

namespace {

// The system's own Python, which has the Debian package's modules.
QString python() {
    return QFile::exists(QStringLiteral("/usr/bin/python3")) ? QStringLiteral("/usr/bin/python3")
                                                             : QStringLiteral("python3");
}

} // namespace

PrivateBus::PrivateBus() {
    daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address=1"});
    if (!daemon.waitForStarted(5000) || !daemon.waitForReadyRead(5000)) {
        return;
    }
    busAddress = QString::fromUtf8(daemon.readLine().trimmed());
    connectionName = QStringLiteral("private-bus-%1").arg(daemon.processId());
}

PrivateBus::~PrivateBus() {
    QDBusConnection::disconnectFromBus(connectionName);
    for (auto& process : mocks) {
        process->kill();
        process->waitForFinished(3000);
    }
    if (daemon.state() != QProcess::NotRunning) {
        daemon.kill();
        daemon.waitForFinished(3000);
    }
}

bool PrivateBus::canMock() {
    return QProcess::execute(python(), {"-c", "import dbusmock"}) == 0;
}

bool PrivateBus::mock(const QStringList& arguments, const QString& name) {
    auto& process = *mocks.emplace_back(std::make_unique<QProcess>());
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("DBUS_SYSTEM_BUS_ADDRESS", busAddress);
    env.insert("DBUS_SESSION_BUS_ADDRESS", busAddress);
    process.setProcessEnvironment(env);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(python(), QStringList{"-m", "dbusmock"} + arguments);
    const auto bus = QDBusConnection::connectToBus(busAddress, connectionName);
    return process.waitForStarted(5000) &&
           spinUntil([&] { return bus.interface()->isServiceRegistered(name).value(); });
}

QDBusMessage PrivateBus::call(const QString& service, const QString& path, const QString& interface,
                              const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::connectToBus(busAddress, connectionName).call(message, QDBus::Block, 5000);
}
