#include "activity/DailyReportScheduler.h"

#include "app/Settings.h"
#include "base/Clock.h"

#include <QFileInfo>
#include <QPointer>

namespace {

constexpr double tickInterval = 60;
constexpr double firstTickDelay = 15;
constexpr qint64 backOffMs = 1800 * 1000;
// Less than this is no working day worth a report of its own.
constexpr double leastActivity = 900;

// A day is due when it has no report yet and held enough work.
bool isDue(const QDate& day) {
    return day.isValid() && !QFileInfo::exists(DailyReport::reportURL(day)) &&
           DailyReport::activeTime(day) >= leastActivity;
}

QCoro::Task<> writeReport(QPointer<DailyReportScheduler> self, QDate day, bool automatic) {
    const DailyReport::ReportResult result = co_await self->write(day);
    if (!self) {
        co_return;
    }
    if (result) {
        self->lastFailure.reset();
    } else {
        self->lastFailure = base::Clock::now();
    }
    if (self->onFinish) {
        self->onFinish(day, result, automatic);
    }
    // Cleared last, so that no report can start from inside onFinish.
    if (self) {
        self->isGenerating = false;
    }
}

} // namespace

void DailyReportScheduler::start() {
    if (timer.isActive()) {
        return;
    }
    QPointer<DailyReportScheduler> self(this);
    const auto tickIfAlive = [self] {
        if (self) {
            self->tick();
        }
    };
    timer = base::Scheduler::current().every(tickInterval, tickIfAlive);
    firstTick = base::Scheduler::current().after(firstTickDelay, tickIfAlive);
}

void DailyReportScheduler::generate(const QDate& day, bool automatic) {
    if (isGenerating) {
        return;
    }
    isGenerating = true;
    if (onStart) {
        onStart(day, automatic);
    }
    writeReport(QPointer<DailyReportScheduler>(this), day, automatic);
}

void DailyReportScheduler::tick() {
    // Whoever turned recording off gets no report by itself.
    if (!Settings::boolValue(QLatin1String(Settings::Key::recordActivity)) || isGenerating) {
        return;
    }
    const QDateTime now = base::Clock::now().toLocalTime();
    if (lastFailure && lastFailure->msecsTo(now) < backOffMs) {
        return;
    }
    // A day missed while the computer was off or asleep goes first; today waits for a later tick.
    const QDate yesterday = now.date().addDays(-1);
    if (isDue(yesterday)) {
        generate(yesterday, true);
        return;
    }
    const int minutes = now.time().hour() * 60 + now.time().minute();
    if (minutes < Settings::intValue(QLatin1String(Settings::Key::reportMinutes))) {
        return;
    }
    if (isDue(now.date())) {
        generate(now.date(), true);
    }
}
