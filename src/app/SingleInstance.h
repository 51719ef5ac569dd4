#pragma once

#include <QLocalServer>
#include <QObject>
#include <QStringList>

#include <functional>

// One running program per user. The first instance listens on a socket in the user's runtime
// folder; a later launch hands its arguments over and leaves.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // What one launch may hand over; anything beyond is cut off.
    static constexpr qint64 maxMessageBytes = 64 * 1024;
    static constexpr int maxArguments = 32;

    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);
    ~SingleInstance() override;

    // $XDG_RUNTIME_DIR/mirkvantle-agents.socket.
    static QString defaultSocketPath();

    // Gives the arguments to a running instance. True when one took them. Blocks for at most
    // about a second, before the program's own loop runs.
    static bool handOver(const QString& socketPath, const QStringList& arguments);

    // Starts listening, taking over a socket that a crashed instance left behind. False when
    // another instance answers on it.
    bool listen();

    // Arguments handed over by a later launch, as text that still has to be checked.
    std::function<void(const QStringList&)> onArguments;

private:
    void accept();

    QString path;
    QLocalServer server;
};
