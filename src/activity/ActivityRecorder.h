#pragma once

#include "activity/ActivitySpan.h"
#include "base/Scheduler.h"
#include "platform/ActiveWindow.h"

#include <QList>
#include <QObject>

#include <optional>

// Notes, on this computer only, which application the user works in and for how long: a sample
// every 20 seconds and one at each switch of the window in front. Each closed span becomes one
// line in the log of the day it began; an open span is never older than about two minutes, so
// a crash costs at most that. Runs on the main thread.
class ActivityRecorder : public QObject {
    Q_OBJECT
public:
    explicit ActivityRecorder(QObject* parent = nullptr);

    // The process's recorder.
    static ActivityRecorder& shared();

    // Begins recording; a second call does nothing.
    void start();
    // Closes the open span, ending it at `at` but never in the future nor before it began.
    void closeCurrent(const QDateTime& at);
    // The day's spans in file order, with the open span behind them when it began that day.
    QList<ActivitySpan> spans(const QDate& day) const;
    // The spans written to the day's log; safe on any thread, as it reads only the file.
    static QList<ActivitySpan> loggedSpans(const QDate& day);
    // The open span, when it began on that day.
    std::optional<ActivitySpan> openSpan(const QDate& day) const;
    // The log file of a day, whether it exists or not.
    static QString fileURL(const QDate& day);
    // False while the window in front cannot be seen, so nothing is being recorded.
    bool canSeeApplications() const { return seesFront; }
    // What the source of the window in front can see on this desktop.
    static platform::Sight sight();

    std::optional<ActivitySpan> current;

signals:
    void canSeeApplicationsChanged(bool sees);
    void sightChanged();

private:
    void sample();
    void deleteOldLogs();
    void append(const ActivitySpan& span);
    void setSeesFront(bool sees);

    base::Timer timer;
    bool seesFront = true;
};
