#pragma once

#include "support/PrivateBus.h"

#include <QProcess>
#include <QString>

// A session bus of the test's own with a keyring daemon on it, unlocked. While it lives, the
// test process talks to it as to the user's session.
class PrivateKeyring {
public:
    PrivateKeyring();
    ~PrivateKeyring();
    bool isRunning() const { return running; }
    qint64 keyringPid() const { return keyring.processId(); }
    // Asks the keyring through the command-line tool, bypassing the program.
    QString lookup(const QString& service, const QString& account) const;
    // Stores these bytes as the secret, as another program might.
    void store(const QString& service, const QString& account, const QByteArray& secret) const;

private:
    PrivateBus bus;
    QProcess keyring;
    QByteArray previousAddress;
    bool running = false;
};
