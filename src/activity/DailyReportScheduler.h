#pragma once

#include "activity/DailyReport.h"
#include "base/Scheduler.h"

#include <QDate>
#include <QDateTime>
#include <QObject>

#include <functional>
#include <optional>

// Decides when the daily report writes itself: once a day after the report time, when the day
// held real work and has no report yet, and yesterday's first when it was missed. Only one
// report is written at a time, whoever asked for it. Runs on the main thread.
class DailyReportScheduler : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // A report begins: its day, and whether the scheduler started it by itself.
    std::function<void(const QDate& day, bool automatic)> onStart;
    // A report ended, written or failed.
    std::function<void(const QDate& day, const DailyReport::ReportResult& result, bool automatic)> onFinish;
    // How a report is written; tests put a stand-in here.
    std::function<QCoro::Task<DailyReport::ReportResult>(QDate)> write = DailyReport::generate;

    // Begins the ticks: the first after 15 seconds, then every minute. A second call does nothing.
    void start();
    // Starts a report for the day unless one is being written; returns at once.
    void generate(const QDate& day, bool automatic);

    bool isGenerating = false;
    // When the last report failed; a success clears it.
    std::optional<QDateTime> lastFailure;

private:
    void tick();

    base::Timer timer;
    base::Timer firstTick;
};
