#include "activity/Digest.h"
#include "activity/DailyReport.h"
#include "app/Settings.h"
#include "support/ReportFixture.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

// The report fixture lends its spans of made-up days.
class DigestTest : public ::testing::Test, protected ReportFixture {
protected:
    // A zone away from UTC, so that an hour read in UTC shows.
    void SetUp() override {
        TestEnvironment::freshSettings();
        previousZone = qgetenv("TZ");
        qputenv("TZ", "Europe/Tallinn");
        tzset();
    }
    void TearDown() override {
        if (previousZone.isNull()) {
            qunsetenv("TZ");
        } else {
            qputenv("TZ", previousZone);
        }
        tzset();
    }

    QByteArray previousZone;

    const QDate day{2026, 11, 18};

    QStringList linesOf(const QList<ActivitySpan>& spans) const {
        const auto digest = Digest::make(day, spans);
        return digest ? digest->text.split(QLatin1Char('\n')) : QStringList{QStringLiteral("<none>")};
    }
};

} // namespace

TEST_F(DigestTest, DurationsRoundToTheMinuteAndADayNeedsOne) {
    const std::pair<double, const char*> cases[] = {
        {0, "<1m"},    {29, "<1m"},  {30, "1m"},   {89, "1m"},      {90, "2m"},
        {3569, "59m"}, {3570, "1h"}, {7200, "2h"}, {7500, "2h 5m"}, {86400, "24h"}};
    for (const auto& [seconds, text] : cases) {
        EXPECT_EQ(DailyReport::format(seconds), QString::fromUtf8(text)) << seconds;
    }

    EXPECT_FALSE(Digest::make(day, {}));
    // Spans that end at or before their start count for nothing at all.
    EXPECT_FALSE(Digest::make(day, {span(day, QTime(9, 0), 0, "A"), span(day, QTime(9, 5), -600, "A")}));
    EXPECT_FALSE(Digest::make(day, {span(day, QTime(9, 0), 30, "A"), span(day, QTime(9, 1), 29, "B")}));
    const auto minute = Digest::make(day, {span(day, QTime(9, 0), 30, "A"), span(day, QTime(9, 1), 30, "B")});
    ASSERT_TRUE(minute);
    EXPECT_EQ(minute->activeTime, 60);
    EXPECT_EQ(minute->text.section(QLatin1Char('\n'), 1, 1), "Active time: 1m, between 09:00 and 09:01.");
    EXPECT_FALSE(minute->hasTitles);
}

TEST_F(DigestTest, AppLinesNameLongAppsAndTitlesAndSumTheShortVisits) {
    QList<ActivitySpan> spans;
    QTime at(8, 0);
    // Seven titles long enough to be named, one just too short.
    for (int i = 1; i <= 7; ++i) {
        spans.append(span(day, at, 120 + 60 * (7 - i), "Editor", QStringLiteral("T%1").arg(i)));
        at = at.addSecs(600);
    }
    spans.append(span(day, at, 119, "Editor", QStringLiteral("Almost")));
    // One name from two programs is one app.
    spans.append(span(day, QTime(12, 0), 300, "Browser", std::nullopt, QStringLiteral("org.one")));
    spans.append(span(day, QTime(12, 10), 300, "Browser", std::nullopt, QStringLiteral("org.two")));
    spans.append(span(day, QTime(12, 20), 59.9, "Clock"));
    spans.append(span(day, QTime(12, 22), 30, "Calc"));

    const QStringList lines = linesOf(spans);
    const QStringList expected{"Time per app:",  "- Editor: 37m",
                               "  - \"T1\": 8m", "  - \"T2\": 7m",
                               "  - \"T3\": 6m", "  - \"T4\": 5m",
                               "  - \"T5\": 4m", "  - \"T6\": 3m",
                               "- Browser: 10m", "- Short visits to other apps: 1m"};
    ASSERT_GE(lines.size(), 3 + expected.size());
    EXPECT_EQ(lines.mid(3, expected.size()), expected);
    EXPECT_TRUE(Digest::make(day, spans)->hasTitles);

    // Only a title below two minutes: none is named, yet the day had titles. No short visits,
    // no line for them.
    const auto untitled = Digest::make(day, {span(day, QTime(8, 0), 119, "Editor", QStringLiteral("Almost")),
                                             span(day, QTime(8, 5), 60, "Mail")});
    ASSERT_TRUE(untitled);
    EXPECT_TRUE(untitled->hasTitles);
    EXPECT_EQ(untitled->text.section(QLatin1Char('\n'), 3, 6), "Time per app:\n- Editor: 2m\n- Mail: 1m\n");
    EXPECT_FALSE(untitled->text.contains("Almost"));
    EXPECT_FALSE(untitled->text.contains("Short visits"));
}

TEST_F(DigestTest, TimelineCountsEachSpanInTheHourItBeganAndJoinsRuns) {
    QList<ActivitySpan> spans;
    // A steady half hour on each side of noon, as the recorder writes it: 120-second pieces.
    for (int i = 0; i < 30; ++i) {
        spans.append(span(day, QTime(11, 30).addSecs(120 * i), 120, "Terminal"));
    }
    const double five[] = {600, 500, 400, 300, 200};
    for (int i = 0; i < 5; ++i) {
        spans.append(span(day, QTime(8, 10 * i), five[i], QStringLiteral("App%1").arg(i + 1)));
    }
    // The last end needn't be the last span's.
    spans.append(span(day, QTime(23, 30), 1860, "Radio"));
    spans.append(span(day, QTime(23, 59), 60, "Player"));
    spans.append(span(day, QTime(9, 59, 50), 120, "Mail"));
    spans.append(span(day, QTime(10, 30), 50, "Calc"));

    const auto digest = Digest::make(day, spans);
    ASSERT_TRUE(digest);
    // Given out of order, taken by start; the last end lies past midnight.
    EXPECT_EQ(digest->timeRange, "08:00 and 00:01");
    EXPECT_EQ(digest->appTotals.front(), std::make_pair(QString("Terminal"), 3600.0));
    EXPECT_TRUE(digest->text.contains("\n- Terminal: 1h\n"));
    EXPECT_TRUE(digest->text.endsWith("Timeline (by hour):\n"
                                      "- 08:00: App1 10m, App2 8m, App3 7m, App4 5m\n"
                                      "- 09:00: Mail 2m\n"
                                      "- 11:00: Terminal 30m\n"
                                      "- 12:00: Terminal 30m\n"
                                      "- 23:00: Radio 31m, Player 1m"))
        << digest->text.toStdString();

    // No hour with a minute in one app: the heading stands alone at the end.
    const auto scattered =
        Digest::make(day, {span(day, QTime(8, 0), 40, "A"), span(day, QTime(8, 1), 40, "B")});
    ASSERT_TRUE(scattered);
    EXPECT_TRUE(scattered->text.endsWith("\n\nTimeline (by hour):")) << scattered->text.toStdString();
}

TEST_F(DigestTest, ASmallDayReadsInFull) {
    const auto digest = Digest::make(day, morning(day));
    ASSERT_TRUE(digest);
    EXPECT_EQ(digest->text, QStringLiteral("Date: Wednesday, November 18, 2026\n"
                                           "Active time: 1h 27m, between 09:02 and 10:29.\n"
                                           "\n"
                                           "Time per app:\n"
                                           "- Editor: 1h 12m\n"
                                           "  - \"main.cpp — mirk/src\": 1h 10m\n"
                                           "- Browser: 15m\n"
                                           "- Short visits to other apps: 1m\n"
                                           "\n"
                                           "Timeline (by hour):\n"
                                           "- 09:00: Editor 1h 10m, Browser 10m\n"
                                           "- 10:00: Browser 5m, Editor 2m"));
    EXPECT_EQ(digest->firstTime, "09:02");
    EXPECT_EQ(digest->lastTime, "10:29");
    EXPECT_EQ(digest->activeTime, 5245);
}

TEST_F(DigestTest, HeadlineIsTheFirstLineOfProseCleanedAndShortened) {
    // A line that opens with emphasis reads as a bullet; emphasis further in is dropped.
    EXPECT_EQ(DailyReport::headline("## Time by category\n* Coding - 2h\n- Mail\n\n**Busy** day\n \tA "
                                    "**busy day** with 3 meetings\t \nSecond line"),
              "A busy day with 3 meetings");
    EXPECT_EQ(DailyReport::headline("\r\n1. Busy day, step 1. then done\r\n"), "Busy day, step then done");

    const QString exact = QString(179, QLatin1Char('a')) + QStringLiteral("é");
    EXPECT_EQ(DailyReport::headline(exact), exact);
    const QString longer = QStringLiteral("%1 long day").arg(QString(172, QLatin1Char('b')));
    ASSERT_EQ(longer.size(), 181);
    EXPECT_EQ(DailyReport::headline(longer), longer.left(177) + QStringLiteral("…"));

    EXPECT_EQ(DailyReport::headline("## Time by category\n* Coding - 2h\n"), "Your daily report is ready.");
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    EXPECT_EQ(DailyReport::headline(QString()), "Päeva aruanne on valmis.");
}
