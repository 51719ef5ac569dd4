#include "time/DaySummary.h"
#include "activity/Digest.h"
#include "support/ReportFixture.h"

#include <gtest/gtest.h>

namespace {

const QDate day(2026, 3, 2);

// Spans of the day one after another from 09:00, each of so many seconds.
struct Day {
    QList<ActivitySpan> spans;
    QTime at{9, 0};

    Day& add(const QString& app, double seconds, std::optional<QString> title = std::nullopt) {
        spans.append(ReportFixture::span(day, at, seconds, app, std::move(title)));
        at = at.addSecs(static_cast<int>(seconds));
        return *this;
    }
};

QStringList apps(const DaySummary& summary) {
    QStringList names;
    for (const auto& line : summary.lines) {
        names << line.app;
    }
    return names;
}

} // namespace

TEST(DaySummary, ThresholdsHoldAtTheirEdgesAndEverythingCountsAsActive) {
    Day d;
    d.add("Almost", 599)
        .add("Mail", 2400, "Inbox")
        .add("Mail", 720, "Quote for Pine House")
        .add("Mail", 299, "Drafts")
        .add("Mail", 481, "  Inbox \n")
        .add("Terminal", 700)
        .add("Editor", 600, "   ")
        .add("Editor", 0, "empty span")
        .add("Editor", -5, "backwards");
    const DaySummary summary = DaySummary::of(d.spans);

    EXPECT_EQ(apps(summary), (QStringList{"Mail", "Terminal", "Editor"}));
    EXPECT_DOUBLE_EQ(summary.active, 599 + 2400 + 720 + 299 + 481 + 700 + 600);
    const auto& mail = summary.lines[0];
    EXPECT_DOUBLE_EQ(mail.duration, 3900);
    ASSERT_EQ(mail.titles.size(), 2);
    // Blanks at the ends make no new title; 299 seconds make none at all.
    EXPECT_EQ(mail.titles[0], (std::pair<QString, double>{"Inbox", 2881}));
    EXPECT_EQ(mail.titles[1], (std::pair<QString, double>{"Quote for Pine House", 720}));
    EXPECT_TRUE(summary.lines[2].titles.isEmpty());

    EXPECT_EQ(summary.preview(),
              QStringLiteral("Mail — 1h 5m: „Inbox”, „Quote for Pine House”\nTerminal — 12m\nEditor — 10m"));
    EXPECT_EQ(summary.forPelka(),
              QStringLiteral("- Mail: 1h 5m\n  - \"Inbox\": 48m\n  - \"Quote for Pine House\": "
                             "12m\n- Terminal: 12m\n- Editor: 10m"));

    // Exactly 300 seconds of a title stays.
    Day edge;
    edge.add("Mail", 300, "Exactly").add("Mail", 300, "Also");
    EXPECT_EQ(DaySummary::of(edge.spans).lines[0].titles.size(), 2);
}

TEST(DaySummary, KeepsEightApplicationsThreeTitlesAndCutsLongTitles) {
    Day d;
    for (int i = 0; i < 8; ++i) {
        d.add(QStringLiteral("App %1").arg(i), 600 + 60 * i);
    }
    const QString longTitle = QString(79, QLatin1Char('a')) + QStringLiteral("bc");
    const QString huge = QString(10000, QLatin1Char('x'));
    const QString surrogate = QString(79, QLatin1Char('s')) + QStringLiteral("😀");
    d.add("Writer", 2000, longTitle)
        .add("Writer", 1900, huge)
        .add("Writer", 1800, surrogate)
        .add("Writer", 1700, "4th");

    const DaySummary summary = DaySummary::of(d.spans);
    ASSERT_EQ(summary.lines.size(), 8);
    EXPECT_EQ(summary.lines[0].app, QStringLiteral("Writer"));
    // The smallest of nine applications, App 0, is left out but still counted.
    EXPECT_FALSE(apps(summary).contains(QStringLiteral("App 0")));
    EXPECT_DOUBLE_EQ(summary.active, 8 * 600 + 60 * 28 + 7400);

    const auto& titles = summary.lines[0].titles;
    ASSERT_EQ(titles.size(), 3);
    EXPECT_EQ(titles[0].first, QString(79, QLatin1Char('a')) + QLatin1Char('b'));
    EXPECT_EQ(titles[1].first.size(), 80);
    // Never half of a character: the emoji beyond the 80th unit goes whole.
    EXPECT_EQ(titles[2].first, QString(79, QLatin1Char('s')));
    EXPECT_TRUE(summary.preview().contains(QStringLiteral("„") + titles[0].first + QStringLiteral("”")));
    EXPECT_FALSE(summary.forPelka().contains(longTitle));
}

TEST(DaySummary, ReadsTheDaysLogAndAnEmptyDayIsEmpty) {
    ReportFixture reports;
    EXPECT_TRUE(DaySummary::of(day).lines.isEmpty());
    EXPECT_EQ(DaySummary::of(day).preview(), QString());
    EXPECT_EQ(DaySummary::of(day).forPelka(), QString());
    EXPECT_DOUBLE_EQ(DaySummary::of(day).active, 0);

    Day d;
    d.add("Mail", 180);
    ReportFixture::writeLog(day, d.spans);
    const DaySummary short_ = DaySummary::of(day);
    EXPECT_TRUE(short_.lines.isEmpty());
    EXPECT_DOUBLE_EQ(short_.active, 180);

    d.add("Spreadsheet", 900, "Budget.ods");
    ReportFixture::writeLog(day, d.spans);
    EXPECT_EQ(DaySummary::of(day).preview(), QStringLiteral("Spreadsheet — 15m: „Budget.ods”"));
    EXPECT_TRUE(DaySummary::of(day.addDays(1)).lines.isEmpty());
}

TEST(DaySummary, AnApplicationRenamedByALanguageChangeStaysOneRowUnderItsLatestName) {
    const QString files = QStringLiteral("org.gnome.Nautilus");
    const QList<ActivitySpan> spans{
        ReportFixture::span(day, QTime(9, 0), 1200, "Files", std::nullopt, files),
        ReportFixture::span(day, QTime(9, 20), 900, "Terminal", std::nullopt, QStringLiteral("xterm")),
        ReportFixture::span(day, QTime(9, 35), 1200, "Failid", std::nullopt, files)};
    const DaySummary summary = DaySummary::of(spans);
    EXPECT_EQ(apps(summary), (QStringList{"Failid", "Terminal"}));
    EXPECT_DOUBLE_EQ(summary.lines[0].duration, 2400);
    const auto digest = Digest::make(day, spans);
    ASSERT_TRUE(digest);
    EXPECT_EQ(digest->appTotals,
              (std::vector<std::pair<QString, double>>{{"Failid", 2400}, {"Terminal", 900}}));
}
