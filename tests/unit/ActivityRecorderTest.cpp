#include "activity/ActivityRecorder.h"
#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/VirtualScheduler.h"
#include "platform/fake/FakeServices.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <memory>

using platform::FrontApplication;

namespace {

const FrontApplication editor{QStringLiteral("Code"), QStringLiteral("Editor"), 4001};
const FrontApplication browser{QStringLiteral("Firefox"), QStringLiteral("Browser"), 4002};
const FrontApplication mail{QStringLiteral("Mailer"), QStringLiteral("Mail"), 4003};

QString folder() {
    return AppIdentity::supportURL() + QStringLiteral("/Activity");
}

class ActivityRecorderTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        QDir(AppIdentity::supportURL()).removeRecursively();
    }

    // Starts recording at this local time with the application in front.
    void startAt(const QDateTime& moment, std::optional<FrontApplication> front = editor) {
        scheduler.reset();
        scheduler = std::make_unique<base::VirtualScheduler>(moment);
        services.activeWindow->front = std::move(front);
        recorder = std::make_unique<ActivityRecorder>();
        recorder->start();
    }

    static bool isPrivate(const QString& path, QFile::Permissions owner) {
        const auto mask = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                          QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther |
                          QFile::ExeOther;
        return (QFile::permissions(path) & mask) == owner;
    }

    // The spans written to the day's log, read straight from the file.
    QList<ActivitySpan> written(const QDate& day) const {
        QList<ActivitySpan> out;
        QFile file(ActivityRecorder::fileURL(day));
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : file.readAll().split('\n')) {
                if (auto span = ActivityLog::decode(line)) {
                    out.append(*span);
                }
            }
        }
        return out;
    }

    QDateTime at(int h, int m, int s = 0) const { return QDateTime(day, QTime(h, m, s)); }
    static double seconds(const ActivitySpan& span) { return span.start.secsTo(span.end); }

    const QDate day{2026, 11, 18};
    platform::fake::FakeServices services;
    std::unique_ptr<base::VirtualScheduler> scheduler;
    std::unique_ptr<ActivityRecorder> recorder;
};

TEST_F(ActivityRecorderTest, SwitchesAndSteadyWorkBecomeBoundedSpansCountedOnce) {
    startAt(at(9, 0));
    EXPECT_TRUE(isPrivate(AppIdentity::supportURL(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        << "the folders made for the record are the user's alone";
    scheduler->advance(50);
    services.activeWindow->bringToFront(browser);
    ASSERT_EQ(written(day).size(), 1);
    EXPECT_EQ(written(day).at(0), (ActivitySpan{at(9, 0), at(9, 0, 50), QStringLiteral("Editor"),
                                                QStringLiteral("Code"), std::nullopt}));
    // The open span stands behind the written ones, and only there.
    auto listed = recorder->spans(day);
    ASSERT_EQ(listed.size(), 2);
    EXPECT_EQ(listed.at(1).app, QStringLiteral("Browser"));

    // A quick pass through another application is too short to keep.
    scheduler->advance(30);
    services.activeWindow->bringToFront(mail);
    scheduler->advance(0.5);
    services.activeWindow->bringToFront(browser);
    EXPECT_EQ(written(day).size(), 2);
    EXPECT_EQ(written(day).at(1).app, QStringLiteral("Browser"));

    // An hour in one application: spans of 120 to 139 seconds, end to end.
    scheduler->advance(3600);
    const auto steady = written(day).mid(2);
    ASSERT_GE(steady.size(), 25);
    for (qsizetype i = 0; i < steady.size(); ++i) {
        EXPECT_GE(seconds(steady.at(i)), 120);
        EXPECT_LE(seconds(steady.at(i)), 140); // 139.5 s, written to the whole second
        if (i > 0) {
            EXPECT_EQ(steady.at(i).start, steady.at(i - 1).end);
        }
    }
    listed = recorder->spans(day);
    EXPECT_EQ(listed.size(), written(day).size() + 1);
    EXPECT_EQ(listed.last(), *recorder->current);

    // A steady sample doesn't touch the file.
    services.activeWindow->bringToFront(editor);
    const auto size = QFileInfo(ActivityRecorder::fileURL(day)).size();
    scheduler->advance(20);
    EXPECT_EQ(QFileInfo(ActivityRecorder::fileURL(day)).size(), size);

    // Four minutes in which the program did not run, and the editor was closed meanwhile: its
    // span ends at its last sample, and the browser's begins when the program saw it.
    const QDateTime lastSeen = recorder->current->end;
    scheduler->stall(240);
    services.activeWindow->front = browser;
    scheduler->advance(0);
    EXPECT_EQ(written(day).last().app, QStringLiteral("Editor"));
    EXPECT_EQ(written(day).last().end.toSecsSinceEpoch(), lastSeen.toSecsSinceEpoch());
    EXPECT_EQ(recorder->current->start, base::Clock::now());
    EXPECT_EQ(recorder->current->app, QStringLiteral("Browser"));

    // Both roads out close the open span at the time given.
    scheduler->advance(20);
    const QDateTime end = recorder->current->start.addSecs(10);
    emit AppEvents::shared().activityEnds(end);
    EXPECT_FALSE(recorder->current);
    EXPECT_EQ(written(day).last().end.toSecsSinceEpoch(), end.toSecsSinceEpoch());
}

TEST_F(ActivityRecorderTest, IdleAwayAndExcludedTimeIsNotRecorded) {
    startAt(at(10, 0));
    scheduler->advance(200);
    ASSERT_EQ(written(day).size(), 1);
    // 300 seconds without input still counts as present.
    services.idleTime->seconds = 300;
    scheduler->advance(20);
    ASSERT_TRUE(recorder->current);
    EXPECT_EQ(recorder->current->end, at(10, 3, 40));
    // At 301 the span ends at the last input, and comes to nothing when that was before it began.
    services.idleTime->seconds = 301;
    scheduler->advance(20);
    EXPECT_FALSE(recorder->current);
    EXPECT_EQ(written(day).size(), 1);
    // A span whose samples stopped (a lid closed without a sleep) ends at its last sample, though
    // the last input came later: what was in front then was never seen.
    recorder->current =
        ActivitySpan{at(9, 50), at(9, 55), QStringLiteral("Editor"), QStringLiteral("Code"), {}};
    scheduler->advance(20);
    ASSERT_EQ(written(day).size(), 2);
    EXPECT_EQ(written(day).at(1).end, at(9, 55));
    services.idleTime->seconds = 0;

    // Each way of being away closes the open span at once; `lasting` ones keep it closed.
    const auto countAfter = [&](const std::function<void()>& away, bool lasting = true) {
        services.activeWindow->bringToFront(browser);
        scheduler->advance(20);
        ASSERT_TRUE(recorder->current);
        away();
        EXPECT_FALSE(recorder->current);
        scheduler->advance(20);
        EXPECT_NE(bool(recorder->current), lasting);
    };
    // A screen locker in front, the display's screen saver, a locked session, a sleep.
    countAfter([&] {
        services.activeWindow->bringToFront(FrontApplication{QStringLiteral("XScreenSaver"), {}, 77});
    });
    countAfter([&] {
        services.idleTime->saverOn = true;
        scheduler->advance(20);
    });
    services.idleTime->saverOn = false;
    countAfter([&] {
        services.sessionEvents->active = false;
        emit services.sessionEvents->activeChanged(false);
    });
    services.sessionEvents->active = true;
    countAfter([&] { emit services.sessionEvents->willSleep(); }, false);
    // An application the user listed, and one that can't be seen.
    Settings::setValue(QLatin1String(Settings::Key::excludedApps), QStringList{QStringLiteral("mailer")});
    countAfter([&] { services.activeWindow->bringToFront(mail); });
    int changes = 0;
    QObject::connect(recorder.get(), &ActivityRecorder::canSeeApplicationsChanged, [&] { ++changes; });
    countAfter([&] {
        services.activeWindow->sees = false;
        services.activeWindow->bringToFront(std::nullopt);
    });
    EXPECT_FALSE(recorder->canSeeApplications());
    services.activeWindow->sees = true;
    services.activeWindow->bringToFront(browser);
    EXPECT_TRUE(recorder->canSeeApplications());
    EXPECT_EQ(changes, 2);
    // Recording off.
    Settings::setValue(QLatin1String(Settings::Key::recordActivity), false);
    scheduler->advance(20);
    EXPECT_FALSE(recorder->current);
    scheduler->advance(20);
    EXPECT_FALSE(recorder->current);

    for (const auto& span : written(day)) {
        EXPECT_NE(span.bundleID, QStringLiteral("XScreenSaver"));
        EXPECT_NE(span.bundleID, QStringLiteral("Mailer"));
    }
    // Time in this program's own windows goes on the span the user came from.
    Settings::setValue(QLatin1String(Settings::Key::recordActivity), true);
    services.activeWindow->bringToFront(editor);
    scheduler->advance(10);
    services.activeWindow->bringToFront(FrontApplication{
        QStringLiteral("mirkvantle-agents"), QStringLiteral("Us"), QCoreApplication::applicationPid()});
    ASSERT_TRUE(recorder->current);
    EXPECT_EQ(recorder->current->app, QStringLiteral("Editor"));
    EXPECT_EQ(recorder->current->end, base::Clock::now());

    // A desktop without X: the record says it sees nothing, and keeps nothing.
    platform::services().activeWindow.reset();
    scheduler->advance(20);
    EXPECT_FALSE(recorder->current);
    EXPECT_FALSE(recorder->canSeeApplications());
}

TEST_F(ActivityRecorderTest, TitlesAreReadOnlyWhenKeptAndMidnightSplitsTheLogs) {
    startAt(QDateTime(day, QTime(23, 59, 30)));
    scheduler->advance(20);
    EXPECT_EQ(services.activeWindow->titleReads, 0);
    EXPECT_FALSE(recorder->current->title);

    Settings::setValue(QLatin1String(Settings::Key::recordWindowTitles), true);
    scheduler->advance(5);
    services.activeWindow->bringToFront(editor, QStringLiteral("notes/today.md"));
    EXPECT_EQ(recorder->current->title, QStringLiteral("notes/today.md"));
    EXPECT_EQ(written(day).size(), 1);
    EXPECT_EQ(services.activeWindow->titleReads, 1);

    // The first sample after midnight closes the old day's span into the old day's log.
    scheduler->advance(20);
    const QDate next = day.addDays(1);
    EXPECT_EQ(services.activeWindow->titleReads, 2);
    ASSERT_EQ(written(day).size(), 2);
    EXPECT_EQ(written(day).at(1).end, QDateTime(next, QTime(0, 0, 10)));
    EXPECT_EQ(recorder->current->start, QDateTime(next, QTime(0, 0, 10)));
    EXPECT_EQ(recorder->spans(day).size(), 2);
    EXPECT_EQ(recorder->spans(next).size(), 1);

    // "/" travels escaped and comes back whole.
    recorder->closeCurrent(base::Clock::now().addSecs(-1));
    QFile file(ActivityRecorder::fileURL(next));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    EXPECT_TRUE(bytes.contains(R"("title":"notes\/today.md")")) << bytes.constData();
    EXPECT_EQ(written(next).at(0).title, QStringLiteral("notes/today.md"));
}

TEST_F(ActivityRecorderTest, DayLogsSurviveBadLinesAndOldOnesAreDeleted) {
    QDir().mkpath(folder());
    auto put = [](const QString& name, const QByteArray& bytes) {
        QFile file(folder() + QLatin1Char('/') + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    };
    // Unknown keys are read past; a line without app, a foreign one, a locker's and a cut one
    // cost only themselves.
    put(ActivityLog::dayName(day) + QStringLiteral(".jsonl"),
        R"({"start":"2026-11-18T07:00:00Z","end":"2026-11-18T07:02:00Z","app":"Editor","extra":[1]})"
        "\n"
        R"({"start":"2026-11-18T07:02:00Z","end":"2026-11-18T07:03:00Z","bundleID":"x"})"
        "\n"
        R"({"start":"2026-11-18T07:03:00Z","end":"2026-11-18T07:04:00Z","app":"Lock","bundleID":"i3lock"})"
        "\r\n"
        "not json\n"
        R"({"start":"2026-11-18T07:04:00Z","end":"2026-11-18T07:05:00Z","app":"Browser"})"
        "\n"
        R"({"start":"2026-11-18T07:05:00Z","end":"2026-11-18T07:0)");
    const QDate today(2026, 12, 10);
    for (const QDate& old : {today.addDays(-31), today.addDays(-30), today.addDays(-29)}) {
        put(ActivityLog::dayName(old) + QStringLiteral(".jsonl"), {});
    }
    put(QStringLiteral("notes.jsonl"), "keep");
    put(QStringLiteral("2001-01-01.txt"), "keep");

    ActivityRecorder reader;
    QList<ActivitySpan> spans = reader.spans(day);
    ASSERT_EQ(spans.size(), 2);
    EXPECT_EQ(spans.at(0).app, QStringLiteral("Editor"));
    EXPECT_EQ(spans.at(1).app, QStringLiteral("Browser"));
    EXPECT_TRUE(reader.spans(day.addDays(-1)).isEmpty());

    // A span appended behind the cut line still reads back.
    scheduler = std::make_unique<base::VirtualScheduler>(QDateTime(day, QTime(12, 0)));
    reader.current = ActivitySpan{QDateTime(day, QTime(11, 0)), {}, QStringLiteral("Mail"), {}, {}};
    EXPECT_EQ(reader.spans(day).size(), 3);
    reader.closeCurrent(QDateTime(day, QTime(11, 30)));
    EXPECT_EQ(reader.spans(day).size(), 3);
    EXPECT_TRUE(isPrivate(ActivityRecorder::fileURL(day), QFile::ReadOwner | QFile::WriteOwner))
        << "a log readable by others is tightened when next opened";
    EXPECT_EQ(reader.spans(day).last().app, QStringLiteral("Mail"));

    // Start: 30 days are kept, and files of another name or kind stay.
    startAt(QDateTime(today, QTime(9, 0)));
    const QStringList left = QDir(folder()).entryList(QDir::Files, QDir::Name);
    EXPECT_EQ(left, (QStringList{QStringLiteral("2001-01-01.txt"), QStringLiteral("2026-11-11.jsonl"),
                                 QStringLiteral("2026-11-18.jsonl"), QStringLiteral("notes.jsonl")}));
    // The record is the user's alone.
    scheduler->advance(200);
    EXPECT_TRUE(isPrivate(folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    EXPECT_TRUE(isPrivate(ActivityRecorder::fileURL(today), QFile::ReadOwner | QFile::WriteOwner));
}

} // namespace
