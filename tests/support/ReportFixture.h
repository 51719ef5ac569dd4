#pragma once

#include "activity/DailyReport.h"

#include <QCoro/QCoroTask>
#include <QDate>
#include <QList>

#include <coroutine>

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
