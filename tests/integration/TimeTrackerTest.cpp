#include "time/TimeTracker.h"

#include "base/Clock.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "workspace/Keychain.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QString statePath = QStringLiteral("/api/time/state");
const QString recentPath = QStringLiteral("/api/time/recent");
const QString agentsPath = QStringLiteral("/api/agents");
const QString mePath = QStringLiteral("/api/auth/me");
const QString entriesPath = QStringLiteral("/api/time/entries");

TimeEntry withNote(const QString& note) {
    TimeEntry like;
    like.note = note;
    return like;
}

class TimeTrackerTest : public WorkspaceFixture {
protected:
    void SetUp() override {
        WorkspaceFixture::SetUp();
        tracker.onChange = [this] { ++changes; };
    }
    // The tracker's poll ends with the virtual time, before the fixture runs time on to wake what
    // still waits (an hour of polls would leave requests in flight as the process ends); a read
    // already under way finishes against the simulator.
    void TearDown() override {
        scheduler.reset();
        spinFor(200);
        WorkspaceFixture::TearDown();
    }

    // A timer running in the workspace since now, by the workspace's clock.
    TimeEntry started(std::optional<TimeEntry> like) {
        const auto entry = await(VantleClient::startTimer(std::move(like)));
        EXPECT_TRUE(entry) << entry.error().localizedDescription().toStdString();
        return entry ? *entry : TimeEntry{};
    }

    // The local clock at the real time, so that the workspace's skew is the only difference.
    void realTime() {
        scheduler.reset();
        scheduler = std::make_unique<base::VirtualScheduler>(QDateTime::currentDateTime());
    }

    QJsonObject lastBody(const QString& path) const {
        return QJsonDocument::fromJson(SimProcess::bodyOf(requestsTo(path).last())).object();
    }

    TimeTracker tracker;
    int changes = 0;
};

} // namespace

TEST_F(TimeTrackerTest, PollsEveryMinuteTicksEveryHalfAndReadsTheAgentsOnceInHalfAnHour) {
    started(withNote(QStringLiteral("Planning")));
    tracker.start();
    tracker.start();
    ASSERT_TRUE(spinUntil([&] { return changes == 1; }));
    ASSERT_TRUE(tracker.enabledAgents);
    EXPECT_TRUE(tracker.isAdministrator);
    // Ten minutes: twenty ticks, ten of them together with a poll.
    for (int step = 1; step <= 20; ++step) {
        scheduler->advance(30);
        const int expected = 1 + step + step / 2;
        ASSERT_TRUE(spinUntil([&] { return changes == expected; })) << step;
    }
    spinFor(50);
    EXPECT_EQ(changes, 31);
    EXPECT_EQ(countOf("GET", statePath), 11);
    EXPECT_EQ(countOf("GET", recentPath), 11);
    EXPECT_EQ(countOf("GET", agentsPath), 1);
    EXPECT_EQ(countOf("GET", mePath), 1);

    // The agents and role are known for exactly half an hour.
    for (int minute = 11; minute <= 30; ++minute) {
        scheduler->advance(60);
        ASSERT_TRUE(spinUntil([&] { return countOf("GET", recentPath) == minute + 1; })) << minute;
    }
    EXPECT_EQ(countOf("GET", agentsPath), 1);
    // The role is read again with the agents, and a failure there takes the flag away.
    fault(mePath, {{"status", 500}, {"times", 1}});
    scheduler->advance(60);
    ASSERT_TRUE(spinUntil([&] { return countOf("GET", recentPath) == 32; }));
    EXPECT_EQ(countOf("GET", agentsPath), 2);
    EXPECT_FALSE(tracker.isAdministrator);
    EXPECT_EQ(tracker.agentsReadAt, base::Clock::now());
}

// The key removed while the workspace was being read: what the old workspace answers after that
// is not taken for the program's.
TEST_F(TimeTrackerTest, AnAnswerForAWorkspaceLeftMeanwhileIsDropped) {
    tracker.refresh();
    services.secretStore->secrets.clear();
    tracker.forgetWorkspace();
    ASSERT_TRUE(answered(agentsPath));
    EXPECT_FALSE(tracker.enabledAgents);
    EXPECT_FALSE(tracker.agentsReadAt);
    EXPECT_FALSE(tracker.isAdministrator);
}

TEST_F(TimeTrackerTest, FailuresKeepTheLastGoodStateAndRetry) {
    // The agents failing doesn't keep the timer from being read, and they are asked again.
    fault(agentsPath, {{"status", 500}, {"times", 1}});
    started(withNote(QStringLiteral("Harbour visit")));
    refreshed(tracker);
    EXPECT_FALSE(tracker.agentsReadAt);
    EXPECT_FALSE(tracker.enabledAgents);
    ASSERT_TRUE(tracker.state && tracker.state->active);
    refreshed(tracker);
    EXPECT_TRUE(tracker.agentsReadAt);
    EXPECT_EQ(countOf("GET", agentsPath), 2);
    EXPECT_EQ(tracker.runningTitle(), QStringLiteral(" 0:00 · Harbour visit"));

    // A failed state read: the running form stays and its clock goes on from the cached start.
    const auto recent = tracker.recent;
    fault(statePath, {{"status", 500}, {"times", 1}});
    const int before = changes;
    tracker.refresh();
    ASSERT_TRUE(spinUntil([&] { return countOf("GET", statePath) == 3; }));
    spinFor(300);
    EXPECT_EQ(changes, before);
    ASSERT_TRUE(tracker.state && tracker.state->active);
    EXPECT_EQ(countOf("GET", recentPath), 2);
    scheduler->advance(125);
    EXPECT_EQ(tracker.runningTitle(), QStringLiteral(" 0:02 · Harbour visit"));
    EXPECT_EQ(tracker.recent.size(), recent.size());

    // A failed list keeps the old one while the state moves on.
    fault(recentPath, {{"status", 500}, {"times", 1}});
    ASSERT_TRUE(await(VantleClient::stopTimer(tracker.state->active->id)));
    refreshed(tracker);
    EXPECT_FALSE(tracker.state->active);
    EXPECT_EQ(tracker.recent.size(), recent.size());
    refreshed(tracker);
    EXPECT_EQ(tracker.recent.size(), recent.size() + 1);
    EXPECT_EQ(tracker.recent.first().label(), QStringLiteral("Harbour visit"));
}

TEST_F(TimeTrackerTest, TheWorkspaceClockAheadOrBehindNeverShowsANegativeTime) {
    for (const int skew : {120, -120}) {
        realTime();
        sim->control("POST", "/sim/time", QJsonObject{{"skew_s", skew}});
        started(withNote(QStringLiteral("Skewed")));
        refreshed(tracker);
        EXPECT_NEAR(tracker.state->clockSkew, skew, 10) << skew;
        EXPECT_EQ(tracker.elapsed(), QStringLiteral("0:00")) << skew;
        scheduler->advance(61);
        EXPECT_EQ(tracker.elapsed(), QStringLiteral("0:01")) << skew;
    }
    // The workspace's clock set back after the entry began: its start lies ahead.
    realTime();
    sim->control("POST", "/sim/time", QJsonObject{{"skew_s", 300}});
    started(withNote(QStringLiteral("Ahead")));
    sim->control("POST", "/sim/time", QJsonObject{{"skew_s", 0}});
    refreshed(tracker);
    EXPECT_NEAR(tracker.state->clockSkew, 0, 10);
    EXPECT_EQ(tracker.elapsed(), QStringLiteral("0:00"));
}

TEST_F(TimeTrackerTest, TrackingOffOrNoKeyShowsNoRunningForm) {
    started(withNote(QStringLiteral("Before")));
    refreshed(tracker);
    ASSERT_TRUE(tracker.runningTitle());
    const int recentReads = countOf("GET", recentPath);
    const auto recent = tracker.recent;

    // Switched off while an entry still stands in the reply: no running form, no list read.
    auto off = sim->call("GET", "/api/time/state", sim->exchangeToken()).json().toObject();
    ASSERT_TRUE(off.value("active").isObject());
    off.insert("enabled", false);
    fault(statePath, {{"status", 200}, {"json", off}, {"times", 1}});
    refreshed(tracker);
    EXPECT_FALSE(tracker.state->enabled);
    EXPECT_TRUE(tracker.state->active);
    EXPECT_TRUE(tracker.elapsed());
    EXPECT_FALSE(tracker.runningTitle());
    EXPECT_EQ(countOf("GET", recentPath), recentReads);
    EXPECT_EQ(tracker.recent.size(), recent.size());

    // The key gone: the state goes and the listener hears it, once.
    refreshed(tracker);
    services.secretStore->secrets.clear();
    const int before = changes;
    tracker.refresh();
    tracker.refresh();
    EXPECT_FALSE(tracker.state);
    EXPECT_EQ(changes, before + 1);
    EXPECT_FALSE(tracker.runningTitle());
}

TEST_F(TimeTrackerTest, LongLabelsAreCutAfterSeventeenCharacters) {
    const QString eighteen = QStringLiteral("🚢Route planning ÕÄ");
    ASSERT_EQ(eighteen.toUcs4().size(), 18);
    started(withNote(eighteen));
    refreshed(tracker);
    EXPECT_EQ(tracker.runningTitle(), QStringLiteral(" 0:00 · ") + eighteen);
    started(withNote(eighteen + QStringLiteral("x")));
    refreshed(tracker);
    EXPECT_EQ(tracker.runningTitle(), QStringLiteral(" 0:00 · 🚢Route planning Õ…"));
    EXPECT_EQ(tracker.state->active->label(), eighteen + QStringLiteral("x"));
}

TEST_F(TimeTrackerTest, StartsAndStopsAgainstTheWorkspace) {
    // Nothing runs: nothing is sent.
    const auto nothing = await(tracker.stop());
    ASSERT_TRUE(nothing);
    EXPECT_FALSE(*nothing);
    EXPECT_TRUE(sim->requests().isEmpty());

    // An entry with nothing to copy sends what no entry sends: a fresh id alone.
    started(TimeEntry{});
    const auto bare = lastBody(entriesPath);
    started(std::nullopt);
    EXPECT_EQ(lastBody(entriesPath).keys(), QStringList{"id"});
    EXPECT_EQ(bare.keys(), QStringList{"id"});
    EXPECT_NE(bare.value("id"), lastBody(entriesPath).value("id"));
    const QString id = bare.value("id").toString();
    EXPECT_EQ(id, id.toLower());

    TimeEntry like;
    like.projectId = QStringLiteral("p-1");
    like.note = QStringLiteral("Call");
    started(like);
    EXPECT_EQ(lastBody(entriesPath).keys(), (QStringList{"id", "note", "project_id"}));
    refreshed(tracker);
    ASSERT_TRUE(tracker.state->active);

    // A refused stop is the caller's, with no refresh after it.
    const int reads = countOf("GET", statePath);
    fault(entriesPath + "/*", {{"status", 409}, {"json", QJsonObject{{"detail", "Busy"}}}, {"times", 1}});
    const auto refused = await(tracker.stop());
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().localizedDescription(), QStringLiteral("Vantle: Busy"));
    spinFor(100);
    EXPECT_EQ(countOf("GET", statePath), reads);

    scheduler->advance(90);
    const auto stopped = await(tracker.stop());
    ASSERT_TRUE(stopped && *stopped);
    EXPECT_EQ((*stopped)->id, tracker.state->active->id);
    EXPECT_EQ((*stopped)->label(), QStringLiteral("Call"));
    EXPECT_TRUE((*stopped)->durationSeconds);
    ASSERT_TRUE(spinUntil([&] { return tracker.state && !tracker.state->active; }));
    EXPECT_EQ(countOf("GET", statePath), reads + 1);
}
