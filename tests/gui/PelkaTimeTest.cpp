#include "app/Settings.h"
#include "base/Clock.h"
#include "character/CharacterPlayer.h"
#include "support/ReportFixture.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "time/TimeTracker.h"
#include "workspace/Keychain.h"

#include <QAction>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMenu>

namespace {

const QString statePath = QStringLiteral("/api/time/state");
const QDate day(2026, 3, 2);

QStringList texts(const QList<QAction*>& actions) {
    QStringList out;
    for (const auto* action : actions) {
        out << (action->isSeparator() ? QStringLiteral("-") : action->text());
    }
    return out;
}

// Pelka installed beside the others, the clock at 17:30 of a working day on which this computer
// recorded an hour and five minutes of mail and a short visit elsewhere.
class PelkaTimeTest : public StageFixture {
protected:
    void SetUp() override {
        virtualStart = QDateTime(day, QTime(17, 30));
        StageFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        auto pelka = CharacterFixture::definition("pelka", 4, 3, 25);
        characters.add("pelka", pelka);
        characters.activate();
        ReportFixture::writeLog(day,
                                {ReportFixture::span(day, QTime(9, 0), 2400, "Mail", "Inbox"),
                                 ReportFixture::span(day, QTime(9, 40), 1500, "Mail", "Quote for Pine House"),
                                 ReportFixture::span(day, QTime(10, 5), 400, "Chat")});
        TimeTracker::shared().forgetWorkspace();
        refreshed();
    }
    // With the key gone first, nothing of this workspace is read after the test.
    void TearDown() override {
        services.secretStore->secrets.clear();
        TimeTracker::shared().forgetWorkspace();
        StageFixture::TearDown();
    }
    void at(const QTime& time) { scheduler->advance(base::Clock::now().secsTo(QDateTime(day, time))); }
    int stops() const {
        int n = 0;
        for (const auto& entry : sim->requests()) {
            n += entry.toObject().value("path").toString().endsWith("/stop") ? 1 : 0;
        }
        return n;
    }
    QString offered() const { return Settings::stringValue(QLatin1String(Settings::Key::dayEndOffered)); }
    // The questions sent to the workspace's agents, oldest first.
    QStringList questions() const {
        QStringList out;
        for (const auto& entry : sim->requests()) {
            const auto request = entry.toObject();
            if (request.value("path").toString().endsWith("/turn")) {
                const auto body = SimProcess::bodyOf(request);
                out << QJsonDocument::fromJson(body).object().value("message").toString();
            }
        }
        return out;
    }
    QStringList choices() {
        QStringList out;
        for (const auto& choice : balloon().choices()) {
            out << choice.label;
        }
        return out;
    }
};

} // namespace

TEST_F(PelkaTimeTest, TheDayEndComesOnceFromTheReportTimeOnAndLogsTheDayThroughPelka) {
    // Not yet, not while a balloon is open or the figure hidden, and not without Pelka.
    stage->dayEndCheck();
    at(QTime(17, 34));
    stage->dayEndCheck();
    at(QTime(17, 35));
    stage->say("Busy");
    stage->dayEndCheck();
    stage->closeChat();
    stage->player().isHidden = true;
    stage->dayEndCheck();
    stage->player().isHidden = false;
    TimeTracker::shared().enabledAgents = QSet<QString>{"dorn"};
    stage->dayEndCheck();
    EXPECT_EQ(offered(), QString());
    TimeTracker::shared().enabledAgents.reset();

    // A running timer is asked about first; stopping it is the user's pick.
    TimeEntry pine;
    pine.note = QStringLiteral("Pine House");
    stage->startTimer(pine);
    ASSERT_TRUE(runUntil([&] { return countOf("POST", "/api/time/entries") == 1; }));
    refreshed();
    ASSERT_TRUE(TimeTracker::shared().state->active);
    stage->dayEndCheck();
    EXPECT_EQ(offered(), "2026-03-02");
    EXPECT_FALSE(stage->balloonPanel) << "the question waits a moment";
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && message().startsWith("Your timer on "); }));
    EXPECT_EQ(stage->vantleAgent(), VantleAgent::pelka);
    EXPECT_EQ(choices(), (QStringList{"Stop it", "Keep it running"}));
    EXPECT_FALSE(balloon().isInputShown());
    balloon().pick(0);
    ASSERT_TRUE(runUntil([&] { return stops() == 1; }));
    ASSERT_TRUE(runUntil([&] { return message().startsWith("Shall we log"); }));
    EXPECT_EQ(message(), "Shall we log today's time? About 1h 12m on this computer.");
    balloon().pick(0);
    EXPECT_EQ(message(), "Mail — 1h 5m: „Inbox”, „Quote for Pine House”");
    EXPECT_EQ(hint(), "Matching sends this summary to Vantle.");
    EXPECT_TRUE(questions().isEmpty()) << "nothing leaves before the user agrees";
    balloon().pick(0);
    ASSERT_TRUE(runUntil([&] { return questions().size() == 1; }));
    EXPECT_EQ(
        questions()[0],
        "Here is how my day went on my computer today (time per app, with window titles where recorded):\n"
        "- Mail: 1h 5m\n  - \"Inbox\": 40m\n  - \"Quote for Pine House\": 25m\n\nSuggest time entries for "
        "my projects from it — one line per entry with the project and minutes — and log them once I "
        "confirm. Leave out what isn't project work.");

    // Once a day, whatever came of it; another date is another day.
    stage->closeChat();
    stage->dayEndCheck();
    run(3);
    EXPECT_FALSE(stage->balloonPanel);
    stage->startTimer(pine);
    ASSERT_TRUE(runUntil([&] { return countOf("POST", "/api/time/entries") == 2; }));
    refreshed();
    stage->closeChat();
    Settings::setValue(QLatin1String(Settings::Key::dayEndOffered), QStringLiteral("2026-03-01"));
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    stage->dayEndCheck();
    EXPECT_EQ(offered(), "2026-03-02");
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && !message().isEmpty(); }));
    EXPECT_TRUE(message().startsWith("Sinu taimer (Pine House) käib endiselt (")) << message().toStdString();
    balloon().pick(1);
    ASSERT_TRUE(runUntil([&] { return message().startsWith("Kas logime"); }));
    EXPECT_EQ(message(), "Kas logime tänase aja? Selles arvutis umbes 1h 12m.");
    EXPECT_EQ(stops(), 1) << "keeping it running stops nothing";
    balloon().pick(1);
    EXPECT_FALSE(stage->balloonPanel);
}

TEST_F(PelkaTimeTest, TheDayIsUsedUpWhenTheTimerIsUnusableAndMenuDialoguesAskFirst) {
    fault(statePath, {{"status", 200}, {"json", QJsonObject{{"enabled", false}}}, {"times", 0}});
    refreshed();
    at(QTime(18, 0));
    stage->dayEndCheck();
    run(3);
    EXPECT_EQ(offered(), "2026-03-02");
    EXPECT_FALSE(stage->balloonPanel);
    sim->control("DELETE", "/sim/faults", {});
    refreshed();
    stage->dayEndCheck();
    run(3);
    EXPECT_FALSE(stage->balloonPanel) << "one offer a day, also when the first came to nothing";

    // Asked from the menu with too little on record: Pelka says so in an open chat.
    ReportFixture::writeLog(day, {ReportFixture::span(day, QTime(9, 0), 29 * 60, "Mail")});
    stage->offerTodaysTime(true);
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && message().startsWith("There's too little"); }));
    EXPECT_EQ(message(),
              "There's too little on this computer today to suggest anything — tell me what to log.");
    EXPECT_TRUE(balloon().isInputShown());

    // Sick: nothing is sent on Cancel, one sentence on Confirm.
    stage->confirmSickToday();
    ASSERT_TRUE(runUntil([&] { return choices() == QStringList{"Confirm", "Cancel"}; }));
    balloon().pick(1);
    EXPECT_FALSE(stage->balloonPanel);
    stage->confirmSickToday();
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && !choices().isEmpty(); }));
    balloon().pick(0);
    ASSERT_TRUE(runUntil([&] { return questions() == QStringList{"I'm sick today."}; }));

    // A refused start is said with the workspace's words; no notice claims it started.
    fault("/api/time/entries", {{"status", 403}, {"times", 1}});
    stage->closeChat();
    stage->startTimer(std::nullopt);
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && !message().isEmpty(); }));
    EXPECT_FALSE(message().startsWith("Timer started")) << message().toStdString();

    // Stopped elsewhere between the menu's opening and the click: said, and the menus catch up.
    stage->startTimer(std::nullopt);
    ASSERT_TRUE(runUntil([&] { return countOf("POST", "/api/time/entries") == 2; }));
    refreshed();
    ASSERT_TRUE(TimeTracker::shared().state->active);
    ASSERT_TRUE(await(VantleClient::stopTimer(TimeTracker::shared().state->active->id)));
    stage->stopTimer();
    ASSERT_TRUE(runUntil([&] { return !TimeTracker::shared().state->active; }));
    EXPECT_TRUE(message().contains("This timer is not running")) << message().toStdString();
}

TEST_F(PelkaTimeTest, EachAgentsRowsFollowTheRoleAndWhetherPelkaIsAtHand) {
    QObject parent;
    auto& tracker = TimeTracker::shared();
    tracker.isAdministrator = false;
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::dorn, &parent)), QStringList{"Approvals ↗"});
    tracker.isAdministrator = true;
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::dorn, &parent)),
              (QStringList{"Dorn's Report", "Approvals ↗"}));
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::lirra, &parent)), QStringList{"Clients ↗"});
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::morvo, &parent)), QStringList{"Projects ↗"});
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::pelka, &parent)),
              (QStringList{"Start Timer", "Log Time…", "Log Today's Time…", "-", "I'm Sick…",
                           "Request Time Off…"}));
    QMenu* start = stage->ownActions(VantleAgent::pelka, &parent).first()->menu();
    ASSERT_TRUE(start);
    EXPECT_EQ(texts(start->actions()), (QStringList{"Without a Project", "Other Project…"}));

    // Unknown agents: Pelka's rows, and the reports with her alone.
    tracker.enabledAgents.reset();
    EXPECT_TRUE(stage->reportActions(VantleAgent::dorn, &parent).isEmpty());
    EXPECT_EQ(texts(stage->reportActions(VantleAgent::pelka, &parent)),
              (QStringList{"Today's Report", "Open Reports Folder"}));
    // Known and without her: no rows of hers, and the reports with everyone.
    tracker.enabledAgents = QSet<QString>{"dorn", "lirra"};
    EXPECT_TRUE(stage->ownActions(VantleAgent::pelka, &parent).isEmpty());
    EXPECT_EQ(stage->reportActions(VantleAgent::lirra, &parent).size(), 2);
    tracker.enabledAgents.reset();

    // Time keeping off: the administrator may turn it on, anyone else keeps the sick and leave rows.
    tracker.state->enabled = false;
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::pelka, &parent)),
              (QStringList{"Turn On Time Tracking ↗", "-", "I'm Sick…", "Request Time Off…"}));
    tracker.isAdministrator = false;
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::pelka, &parent)),
              (QStringList{"I'm Sick…", "Request Time Off…"}));

    // No key: nothing of Pelka's, the reports remain under her.
    services.secretStore->secrets.remove(QLatin1String(Keychain::desktopKeyAccount));
    EXPECT_TRUE(stage->ownActions(VantleAgent::pelka, &parent).isEmpty());
    EXPECT_EQ(stage->reportActions(VantleAgent::pelka, &parent).size(), 2);

    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    tracker.isAdministrator = true;
    EXPECT_EQ(texts(stage->ownActions(VantleAgent::dorn, &parent)),
              (QStringList{"Dorni raport", "Kinnitused ↗"}));
}
