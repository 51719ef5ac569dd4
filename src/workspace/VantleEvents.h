#pragma once

#include "base/Cancel.h"
#include "workspace/ClientError.h"
#include "workspace/TurnProgress.h"
#include "workspace/VantleNotification.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>

#include <functional>
#include <optional>

// The one long-lived connection to the workspace's event stream: notifications for the program
// and the progress of running turns for their listeners. It reconnects by itself, backing off
// on failures, and is where a withdrawn desktop key shows up while nobody asks anything.
class VantleEvents : public QObject {
    Q_OBJECT
public:
    struct TurnListener {
        QString text;
        std::function<void(const TurnProgress&)> handler;
    };

    // How long the stream may stay silent before it counts as broken.
    static constexpr double silenceLimit = 60.0;
    // The most of a turn's answer that its progress carries; deltas beyond it are dropped, so
    // that a runaway answer neither fills memory nor keeps the balloon busy.
    static constexpr qsizetype answerLimit = 256 * 1024;

    static VantleEvents& shared();

    std::function<void(const VantleNotification&)> onNotification;
    // A notification was marked read, here or elsewhere; with its id.
    std::function<void(const QString& id)> onNotificationRead;
    std::function<void()> onKeyEnded;
    QHash<QString, TurnListener> turnListeners;

    // Starts the loop unless it runs.
    void start();
    // A new loop with a fresh token.
    void restart();
    // Ends the loop; the open connection is closed.
    void stop();
    bool isRunning() const { return task.has_value(); }

    enum class State { stopped, idle, connecting, streaming, backingOff, keyEnded };
    State state() const { return current; }

    // One complete event from the stream.
    void dispatch(const QString& event, const QString& data);

private:
    VantleEvents() = default;
    QCoro::Task<> loop(base::Cancel cancel);
    QCoro::Task<std::optional<VantleClient::ClientError>> listen(base::Cancel cancel);
    void progress(const QJsonObject& object);

    std::optional<base::Cancel> task;
    State current = State::stopped;
};
