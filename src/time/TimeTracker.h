#pragma once

#include "base/Scheduler.h"
#include "time/TimeEntry.h"
#include "time/TimerState.h"
#include "workspace/VantleClient.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>

#include <functional>
#include <optional>

// The program's picture of the workspace's timer: polled once a minute, with the user's recent
// entries and the agents and role of the user. Menus and dialogues read it and never poll.
class TimeTracker : public QObject {
    Q_OBJECT
public:
    static constexpr double pollInterval = 60.0;
    static constexpr double tickInterval = 30.0;
    // How long the agents and the role are taken as known.
    static constexpr double agentsLifetime = 1800.0;

    explicit TimeTracker(QObject* parent = nullptr);
    static TimeTracker& shared();

    // The last good snapshot.
    std::optional<TimerState> state;
    QList<TimeEntry> recent;
    // The one listener, told when whatever shows the timer should redraw.
    std::function<void()> onChange;
    // Agents switched on for the workspace; none while not known yet.
    std::optional<QSet<QString>> enabledAgents;
    std::optional<QDateTime> agentsReadAt;
    bool isAdministrator = false;

    // Starts the poll and the tick, and refreshes; once only.
    void start();
    // Reads the workspace in the background and returns at once; failures keep what was known.
    void refresh();
    // A new key: nothing of the old workspace stays.
    void forgetWorkspace();

    // The running entry's time by the workspace's clock, as H:MM.
    std::optional<QString> elapsed() const;
    // The running form of the timer, " H:MM · label" with long labels cut; none when it doesn't
    // show: not configured, tracking off, nothing running.
    std::optional<QString> runningTitle() const;
    // Stops the running entry; none, and nothing sent, when nothing runs.
    QCoro::Task<VantleClient::Result<std::optional<TimeEntry>>> stop();

    // Whole hours and minutes, with no day carry: 90,000 seconds are 25:00.
    static QString clock(double seconds);

private:
    QCoro::Task<> read();
    QCoro::Task<> readAgents(quint64 mine);
    void changed();

    base::Timer poll;
    base::Timer tick;
    // Reads begun so far; the number of the newest.
    quint64 reads = 0;
};
