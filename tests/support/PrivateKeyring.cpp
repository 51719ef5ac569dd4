#include "support/PrivateKeyring.h"

#include "support/TestEnvironment.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QThread>

PrivateKeyring::PrivateKeyring() : previousAddress(qgetenv("DBUS_SESSION_BUS_ADDRESS")) {
    if (!bus.isRunning()) {
        return;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());

    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("DBUS_SESSION_BUS_ADDRESS", bus.address());
    env.remove("DISPLAY"); // no prompts
    keyring.setProcessEnvironment(env);
    keyring.start(QStringLiteral("gnome-keyring-daemon"),
                  {"--unlock", "--components=secrets", "--foreground"});
    if (!keyring.waitForStarted(5000)) {
        return;
    }
    // A password unlocks (and creates) the login keyring without asking anybody.
    keyring.write("test-password");
    keyring.waitForBytesWritten(5000);
    keyring.closeWriteChannel();
    // The login keyring is made a moment after the daemon has read its password; it is ready
    // once something can be stored in it.
    QDeadlineTimer deadline(30000);
    while (!deadline.hasExpired()) {
        QProcess probe;
        probe.setProcessEnvironment(env);
        probe.start(QStringLiteral("secret-tool"), {"store", "--label=probe", "probe", "ready"});
        probe.write("x");
        probe.closeWriteChannel();
        probe.waitForFinished(2000);
        if (probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0) {
            QProcess::execute(QStringLiteral("secret-tool"), {"clear", "probe", "ready"});
            running = true;
            return;
        }
        QThread::msleep(100);
    }
}

PrivateKeyring::~PrivateKeyring() {
    if (keyring.state() != QProcess::NotRunning) {
        keyring.kill();
        keyring.waitForFinished(3000);
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", previousAddress);
}

QString PrivateKeyring::lookup(const QString& service, const QString& account) const {
    QProcess probe;
    probe.start(QStringLiteral("secret-tool"), {"lookup", "service", service, "account", account});
    probe.waitForFinished(5000);
    return QString::fromUtf8(probe.readAllStandardOutput());
}

void PrivateKeyring::store(const QString& service, const QString& account, const QByteArray& secret) const {
    QProcess tool;
    tool.start(QStringLiteral("secret-tool"),
               {"store", "--label=other", "service", service, "account", account});
    tool.write(secret);
    tool.closeWriteChannel();
    tool.waitForFinished(5000);
}
