#pragma once

#include "activity/ActivitySpan.h"
#include "activity/DailyReport.h"

#include <QCoro/QCoroTask>
#include <QDate>
#include <QList>
#include <QTime>

#include <coroutine>
#include <optional>

// Day logs and reports in the test home, and a stand-in for the writing of a report that takes
// as long as the test wants. Begins and ends with neither logs nor reports on disk.
class ReportFixture {
public:
    ReportFixture();
    ~ReportFixture();
    ReportFixture(const ReportFixture&) = delete;
    ReportFixture& operator=(const ReportFixture&) = delete;

    // Adds so many seconds of work to the day's log.
    static void addActivity(const QDate& day, int seconds);
    // A span of a made-up day, from a local time.
    static ActivitySpan span(const QDate& day, const QTime& start, double seconds, const QString& app,
                             std::optional<QString> title = std::nullopt,
                             std::optional<QString> bundleID = std::nullopt);
    // A short working morning: an editor with one long window title, a browser, a short visit to
    // a chat, and a title too short to be named.
    static QList<ActivitySpan> morning(const QDate& day);
    // Replaces the day's log with these spans, in this order.
    static void writeLog(const QDate& day, const QList<ActivitySpan>& spans);

    // Stands in for DailyReport::generate: notes the day and waits for finish().
    QCoro::Task<DailyReport::ReportResult> write(QDate day);
    // Ends the report being written, at once; a success writes its file first.
    void finish(bool success);
    bool isWriting() const { return static_cast<bool>(waiting); }

    // The days asked for, in order.
    QList<QDate> asked;
    static inline const QString headline = QStringLiteral("Three hours on the quarterly plan.");

private:
    struct Wait;
    std::coroutine_handle<> waiting;
    bool succeeds = false;
};
