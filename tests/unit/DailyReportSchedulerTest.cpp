#include "activity/DailyReportScheduler.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/VirtualScheduler.h"
#include "support/ReportFixture.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace {

class DailyReportSchedulerTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::freshSettings(); }

    // Starts the scheduler at a moment of today, with the stand-in writing its reports.
    void startAt(QTime time) {
        clock.emplace(QDateTime(today, time));
        reports = std::make_unique<DailyReportScheduler>();
        reports->write = [this](QDate day) { return writer.write(day); };
        reports->onStart = [this](const QDate& day, bool automatic) { note("start", day, automatic); };
        reports->onFinish = [this](const QDate& day, const DailyReport::ReportResult& result,
                                   bool automatic) {
            note(result ? "ok" : "failed", day, automatic);
            // Still writing: no report starts from in here.
            reports->generate(day.addDays(-7), false);
        };
        reports->start();
    }
    void note(const char* what, const QDate& day, bool automatic) {
        events << QStringLiteral("%1 %2 %3")
                      .arg(QLatin1String(what), day.toString(QStringLiteral("MM-dd")),
                           QLatin1String(automatic ? "auto" : "manual"));
    }
    // Runs virtual time on to a moment of today.
    void runTo(QTime time) { clock->advance(base::Clock::now().msecsTo(QDateTime(today, time)) / 1000.0); }
    // What happened since the last look, in order.
    std::string take() { return std::exchange(events, {}).join(QLatin1String(" | ")).toStdString(); }

    const QDate today{2026, 3, 2};
    const QDate yesterday{2026, 3, 1};
    std::optional<base::VirtualScheduler> clock;
    ReportFixture writer;
    std::unique_ptr<DailyReportScheduler> reports;
    QStringList events;
};

} // namespace

TEST_F(DailyReportSchedulerTest, AFirstRunCatchesUpYesterdayAndWritesTodayAfterTheReportTimeOnce) {
    ReportFixture::addActivity(yesterday, 2 * 3600);
    ReportFixture::addActivity(today, 2 * 3600);
    startAt(QTime(9, 0));
    runTo(QTime(9, 0, 14));
    EXPECT_EQ(take(), "");
    runTo(QTime(9, 0, 15));
    EXPECT_EQ(take(), "start 03-01 auto");

    // The user's request while it is written does nothing and shows nothing.
    reports->generate(today, false);
    runTo(QTime(9, 5));
    EXPECT_EQ(take(), "");
    writer.finish(true);
    EXPECT_EQ(take(), "ok 03-01 auto");
    EXPECT_FALSE(reports->isGenerating);

    runTo(QTime(17, 29, 59));
    EXPECT_EQ(take(), "") << "today's report waits for 17:30";
    runTo(QTime(17, 30));
    EXPECT_EQ(take(), "start 03-02 auto");
    writer.finish(true);
    EXPECT_EQ(take(), "ok 03-02 auto");

    // A report on disk stops the ticks, but not the user, whose report replaces it.
    runTo(QTime(23, 59));
    EXPECT_EQ(take(), "");
    reports->generate(today, false);
    writer.finish(true);
    EXPECT_EQ(take(), "start 03-02 manual | ok 03-02 manual");
    EXPECT_EQ(writer.asked, (QList<QDate>{yesterday, today, today}));
}

TEST_F(DailyReportSchedulerTest, AFailureHoldsTheTicksOffHalfAnHourAndYesterdayStaysFirst) {
    ReportFixture::addActivity(yesterday, 3600);
    ReportFixture::addActivity(today, 3600);
    startAt(QTime(17, 29, 45));
    runTo(QTime(17, 30));
    EXPECT_EQ(take(), "start 03-01 auto");
    writer.finish(false);
    EXPECT_EQ(take(), "failed 03-01 auto");
    EXPECT_EQ(reports->lastFailure, QDateTime(today, QTime(17, 30)));

    runTo(QTime(17, 59, 59));
    EXPECT_EQ(take(), "");
    runTo(QTime(18, 0, 45));
    EXPECT_EQ(take(), "start 03-01 auto") << "both are due: yesterday goes first";
    runTo(QTime(18, 1));
    writer.finish(true);
    EXPECT_EQ(take(), "ok 03-01 auto");
    EXPECT_FALSE(reports->lastFailure);
    runTo(QTime(18, 1, 45));
    EXPECT_EQ(take(), "start 03-02 auto") << "today follows at the next tick";
}

TEST_F(DailyReportSchedulerTest, FifteenMinutesOfWorkMakeADayWorthAReport) {
    Settings::setValue(QLatin1String(Settings::Key::reportMinutes), 0);
    ReportFixture::addActivity(yesterday, 15 * 60 - 1);
    ReportFixture::addActivity(today, 14 * 60);
    startAt(QTime(0, 0));
    runTo(QTime(1, 0));
    EXPECT_EQ(take(), "") << "under fifteen minutes, yesterday and today are passed over";
    ReportFixture::addActivity(today, 60);
    runTo(QTime(1, 1));
    EXPECT_EQ(take(), "start 03-02 auto");
}

TEST_F(DailyReportSchedulerTest, WithRecordingOffOnlyTheUserAsksAndTheirFailureHoldsTheTicksOff) {
    Settings::setValue(QLatin1String(Settings::Key::recordActivity), false);
    ReportFixture::addActivity(yesterday, 3600);
    startAt(QTime(9, 0));
    runTo(QTime(10, 0));
    EXPECT_EQ(take(), "");

    // The back-off holds only the ticks back.
    reports->generate(yesterday, false);
    writer.finish(false);
    reports->generate(yesterday, false);
    writer.finish(false);
    EXPECT_EQ(take(), "start 03-01 manual | failed 03-01 manual | start 03-01 manual | failed 03-01 manual");

    Settings::setValue(QLatin1String(Settings::Key::recordActivity), true);
    runTo(QTime(10, 29, 59));
    EXPECT_EQ(take(), "");
    runTo(QTime(10, 30));
    EXPECT_EQ(take(), "start 03-01 auto");

    // A scheduler gone while its report is written hears nothing of the end.
    reports.reset();
    writer.finish(true);
    EXPECT_EQ(take(), "");
}
