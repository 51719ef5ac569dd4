#include "app/Settings.h"
#include "notifications/VantleApproval.h"
#include "support/TestEnvironment.h"
#include "time/TimeEntry.h"
#include "time/TimeTracker.h"
#include "workspace/ChatChoice.h"
#include "workspace/VantleClient.h"
#include "workspace/VantleEvents.h"
#include "workspace/VantleNotification.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using VantleClient::ClientError;

namespace {
QJsonObject object(const char* json) {
    return QJsonDocument::fromJson(json).object();
}
QJsonValue value(const char* json) {
    return QJsonDocument::fromJson(json).object().value("v");
}
} // namespace

TEST(WorkspaceRecords, NotificationsReadLeniently) {
    auto n = VantleNotification::fromJson(object(R"({"id":"n1","title":"Hi"})"));
    ASSERT_TRUE(n);
    EXPECT_EQ(n->message, QString());
    EXPECT_EQ(n->tone, QStringLiteral("info"));
    EXPECT_FALSE(n->agentId);
    EXPECT_FALSE(n->to);

    EXPECT_TRUE(VantleNotification::fromJson(object(R"({"id":"n1","title":""})")));
    EXPECT_FALSE(VantleNotification::fromJson(object(R"({"id":5,"title":"x"})")));
    EXPECT_FALSE(VantleNotification::fromJson(object(R"({"id":"n1"})")));

    n = VantleNotification::fromJson(
        object(R"({"id":"a","title":"t","agent_id":"Lirra","chat_session_id":"c"})"));
    EXPECT_EQ(n->agentId, QStringLiteral("Lirra"));
    EXPECT_EQ(n->chatSessionId, QStringLiteral("c"));
    n = VantleNotification::fromJson(
        object(R"({"id":"a","title":"t","agentId":7,"agent_id":"dorn","tone":3})"));
    EXPECT_FALSE(n->agentId) << "the second key is tried only when the first is absent";
    EXPECT_EQ(n->tone, QStringLiteral("info"));
}

TEST(WorkspaceRecords, ChoicesKeepLabelsAndDropTheUseless) {
    const auto choices = ChatChoice::list(
        value(R"({"v":["a","",{"label":"b","ref":"r"},{"label":"c","ref":""},{"label":""},3]})"));
    EXPECT_EQ(choices,
              (QList<ChatChoice>{{"a", std::nullopt}, {"b", QStringLiteral("r")}, {"c", std::nullopt}}));
    EXPECT_TRUE(ChatChoice::list(value(R"({"v":{"label":"x"}})")).isEmpty());
    EXPECT_TRUE(ChatChoice::list(QJsonValue()).isEmpty());
}

TEST(WorkspaceRecords, ErrorTextsFollowTheStatusAndTheLanguageWhenRead) {
    TestEnvironment::freshSettings();
    EXPECT_EQ(VantleClient::apiError(R"({"detail":"X"})", 500).localizedDescription(),
              QStringLiteral("Vantle: X"));
    EXPECT_EQ(VantleClient::apiError(R"({"detail":"X"})", 403).localizedDescription(), QStringLiteral("X"));
    EXPECT_EQ(VantleClient::apiError(R"({"detail":""})", 403).localizedDescription(), QString())
        << "an empty detail is a detail";
    EXPECT_EQ(VantleClient::apiError("<html>", 403).localizedDescription(),
              QStringLiteral("Vantle: HTTP 403"));
    EXPECT_EQ(VantleClient::apiError(R"({"detail":7})", 502).localizedDescription(),
              QStringLiteral("Vantle: HTTP 502"));
    const auto busyInEnglish = VantleClient::apiError(R"({"detail":"X"})", 429);
    EXPECT_EQ(busyInEnglish.localizedDescription(), QStringLiteral("Vantle is busy; try again in a moment."));

    const ClientError keyEnded = ClientError::keyEnded();
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    EXPECT_EQ(busyInEnglish.localizedDescription(), QStringLiteral("Vantle is busy; try again in a moment."))
        << "the busy text keeps the language it was made in";
    EXPECT_EQ(VantleClient::apiError("", 429).localizedDescription(),
              QStringLiteral("Vantle on hõivatud, proovi hetke pärast uuesti."));
    EXPECT_TRUE(keyEnded.localizedDescription().startsWith(QStringLiteral("Vantle katkestas")))
        << "other texts follow the language when read";
    EXPECT_EQ(ClientError::badResponse().localizedDescription(), QStringLiteral("Vantle vastas ootamatult"));
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("en"));
    EXPECT_EQ(ClientError::notConnected().localizedDescription(),
              QStringLiteral(
                  "Not connected to Vantle yet. In Vantle, open Personal settings → Connect desktop app."));
}

TEST(WorkspaceRecords, DashboardAddressesAndConfiguration) {
    TestEnvironment::freshSettings();
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("https://acme.example/app/"));
    EXPECT_EQ(VantleClient::dashboardURL("https://other.example/x"), QUrl("https://other.example/x"));
    EXPECT_EQ(VantleClient::dashboardURL("/inbox?x=1"), QUrl("https://acme.example/app/inbox?x=1"));
    EXPECT_EQ(VantleClient::dashboardURL("inbox?x=1"), QUrl("https://acme.example/app/inbox?x=1"));
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("bad host"));
    EXPECT_FALSE(VantleClient::dashboardURL("/inbox"));
    EXPECT_FALSE(VantleClient::isConfigured());

    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("https://acme.example/app"));
    qputenv("VANTLE_DESKTOP_KEY", " spaced key ");
    VantleClient::takeKeyFromEnvironment();
    EXPECT_FALSE(qEnvironmentVariableIsSet("VANTLE_DESKTOP_KEY")) << "no child inherits it";
    EXPECT_EQ(VantleClient::desktopKey(), QStringLiteral(" spaced key ")) << "used as it stands";
    EXPECT_TRUE(VantleClient::isConfigured());
    qputenv("VANTLE_DESKTOP_KEY", "");
    VantleClient::takeKeyFromEnvironment();
    EXPECT_FALSE(VantleClient::desktopKey())
        << "an empty variable falls through to the store, which has none here";
}

TEST(WorkspaceRecords, ApprovalsAreFoundInLinksAndReadWithTheirWeight) {
    using VantleClient::approvalId;
    EXPECT_EQ(approvalId(QStringLiteral("/approvals?item=approval:abc")), QStringLiteral("abc"));
    EXPECT_EQ(approvalId(QStringLiteral("/approvals?item=approval:")), QString()) << "empty is an id";
    EXPECT_EQ(approvalId(QStringLiteral("/x?item=other&approvalId=7")), QStringLiteral("7"));
    EXPECT_EQ(approvalId(QStringLiteral("/x?item=approval:1&approvalId=7")), QStringLiteral("1"));
    EXPECT_EQ(approvalId(QStringLiteral("/x?item=other&item=approval:2")), std::nullopt)
        << "only the first item counts";
    EXPECT_EQ(approvalId(QStringLiteral("https://w.example/a?approvalId=a%2Fb")), QStringLiteral("a/b"));
    EXPECT_EQ(approvalId(QStringLiteral("/x?approvalId")), std::nullopt) << "an item without a value";
    EXPECT_EQ(approvalId(QStringLiteral("/approvals/abc")), std::nullopt);
    EXPECT_EQ(approvalId(std::nullopt), std::nullopt);

    const auto read = [](const char* json) { return VantleApproval::fromJson(object(json), "ap-1"); };
    EXPECT_FALSE(read(R"({"agent":"Morvo","rationale":"r"})")) << "no action";
    EXPECT_FALSE(read(R"({"action":5})"));
    auto a = read(R"({"action":"Send"})");
    ASSERT_TRUE(a);
    EXPECT_EQ(a->id, QStringLiteral("ap-1"));
    EXPECT_FALSE(a->isWeighty) << "a missing reversible says nothing";
    EXPECT_FALSE(a->canDecide) << "a missing canDecide means no";
    EXPECT_FALSE(a->details);
    EXPECT_TRUE(read(R"({"action":"a","reversible":false,"risk":"low"})")->isWeighty);
    EXPECT_TRUE(read(R"({"action":"a","reversible":true,"risk":"high"})")->isWeighty);
    EXPECT_FALSE(read(R"({"action":"a","risk":"High"})")->isWeighty);
    EXPECT_FALSE(read(R"({"action":"a","reversible":"false"})")->isWeighty);
    EXPECT_FALSE(read(R"({"action":"a","payload":" \n\t "})")->details) << "blank";
    EXPECT_EQ(read(R"({"action":"a","payload":" x\n"})")->details, QStringLiteral(" x\n")) << "untrimmed";
    EXPECT_FALSE(read(R"({"action":"a","payload":{"x":1}})")->details);
    EXPECT_TRUE(read(R"({"action":"a","canDecide":true})")->canDecide);

    // What stands under the action: 600 characters of the payload whole, 601 cut to 600 and "…".
    VantleApproval shown;
    shown.rationale = QStringLiteral("  Asked by Friday \n");
    shown.details = QString(600, QLatin1Char('x'));
    EXPECT_EQ(shown.detailText(), QStringLiteral("Asked by Friday\n\n") + QString(600, QLatin1Char('x')));
    shown.details = QString(601, QLatin1Char('x'));
    EXPECT_EQ(shown.detailText(),
              QStringLiteral("Asked by Friday\n\n") + QString(600, QLatin1Char('x')) + "…");
    shown.rationale = QStringLiteral(" ");
    shown.details.reset();
    EXPECT_EQ(shown.detailText(), QString());
}

TEST(WorkspaceRecords, TimeEntriesReadDatesWithAnyFractionAndLabelWhatIsThere) {
    TestEnvironment::freshSettings();
    const auto whole = TimeEntry::date(QStringLiteral("2026-03-01T08:15:30Z"));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->toUTC(), QDateTime(QDate(2026, 3, 1), QTime(8, 15, 30), Qt::UTC));
    for (const char* fraction : {".1", ".123", ".123456", ".123456789"}) {
        EXPECT_EQ(TimeEntry::date(QStringLiteral("2026-03-01T08:15:30%1Z").arg(fraction)), whole) << fraction;
    }
    EXPECT_EQ(TimeEntry::date(QStringLiteral("2026-03-01T10:15:30.5+02:00")), whole);
    EXPECT_FALSE(TimeEntry::date(QStringLiteral("2026-03-01T08:15:30")));
    EXPECT_FALSE(TimeEntry::date(QStringLiteral("2026-03-01")));
    EXPECT_FALSE(TimeEntry::date(QStringLiteral("2026-02-30T08:15:30Z")));

    auto entry = TimeEntry::fromJson(
        object(R"({"id":"e","project_name":"","note":"Call","duration_seconds":12.5,"started_at":"x"})"));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->label(), QStringLiteral("Call"));
    EXPECT_FALSE(entry->durationSeconds);
    EXPECT_FALSE(entry->startedAt);
    entry = TimeEntry::fromJson(object(R"({"id":"e","task_label":"Route","duration_seconds":"60"})"));
    EXPECT_EQ(entry->label(), QStringLiteral("Route"));
    EXPECT_FALSE(entry->durationSeconds);
    entry =
        TimeEntry::fromJson(object(R"({"id":"e","project_name":"Harbour","task_label":"Route","note":"n"})"));
    EXPECT_EQ(entry->label(), QStringLiteral("Harbour · Route"));
    EXPECT_FALSE(TimeEntry::fromJson(object(R"({"id":7,"note":"n"})")));
    entry = TimeEntry::fromJson(object(R"({"id":"e","note":"","duration_seconds":3600})"));
    EXPECT_EQ(entry->durationSeconds, 3600);
    EXPECT_EQ(entry->label(), QStringLiteral("Without a project"));
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    EXPECT_EQ(entry->label(), QStringLiteral("Projektita"));

    const std::pair<double, const char*> clocks[] = {
        {59.9, "0:00"}, {3599, "0:59"}, {3600, "1:00"}, {3661.7, "1:01"}, {90000, "25:00"}};
    for (const auto& [seconds, text] : clocks) {
        EXPECT_EQ(TimeTracker::clock(seconds), QLatin1String(text)) << seconds;
    }
}

TEST(VantleEvents, DispatchBuildsTextFromDeltasAndPassesProgress) {
    auto& events = VantleEvents::shared();
    QStringList texts;
    QStringList tools;
    QList<QList<ChatChoice>> options;
    events.turnListeners.insert("t1",
                                {QString(), [&](const TurnProgress& p) {
                                     if (auto* t = std::get_if<TurnProgress::Text>(&p.value)) {
                                         texts << t->text;
                                     } else if (auto* tool = std::get_if<TurnProgress::Tool>(&p.value)) {
                                         tools << tool->name;
                                     } else if (auto* o = std::get_if<TurnProgress::Options>(&p.value)) {
                                         options << o->choices;
                                     }
                                 }});
    auto delta = [&](const QString& text, const QString& offset) {
        events.dispatch("agent.progress",
                        QStringLiteral(R"({"turnId":"t1","kind":"delta","text":"%1"%2})").arg(text, offset));
    };
    auto reset = [&](const QString& text) { events.turnListeners["t1"].text = text; };

    const std::pair<QString, QString> cases[] = {
        {R"(,"offset":0)", "Z"},
        {R"(,"offset":2)", "abZ"},
        {R"(,"offset":99)", "abcZ"},
        {R"(,"offset":-5)", "Z"},
        {"", "abcZ"},
        {R"(,"offset":"1")", "abcZ"},
        {R"(,"offset":1.5)", "abcZ"},
    };
    for (const auto& [offset, expected] : cases) {
        reset("abc");
        delta("Z", offset);
        EXPECT_EQ(texts.last(), expected) << offset.toStdString();
        EXPECT_EQ(events.turnListeners["t1"].text, expected);
    }
    reset(QStringLiteral("õ"));
    delta("x", R"(,"offset":1)");
    EXPECT_EQ(texts.last(), QStringLiteral("õx")) << "offsets count UTF-16 units";

    reset("ab");
    const auto before = texts.size();
    events.dispatch("agent.progress", R"({"turnId":"t1","kind":"done","text":""})");
    EXPECT_EQ(texts.size(), before) << "an empty done does nothing";
    events.dispatch("agent.progress", R"({"turnId":"t1","kind":"done","text":"The whole answer"})");
    EXPECT_EQ(texts.last(), QStringLiteral("The whole answer"));
    delta("c", "");
    EXPECT_EQ(texts.last(), QStringLiteral("abc")) << "later deltas continue from the deltas' text";

    events.dispatch("agent.progress", R"({"turnId":"t1","kind":"tool","state":"finished","tool":"x"})");
    events.dispatch("agent.progress",
                    R"({"turnId":"t1","kind":"tool","state":"started","tool":"Get_Schedule"})");
    EXPECT_EQ(tools, QStringList{"Get_Schedule"});
    events.dispatch("agent.progress", R"({"turnId":"t1","kind":"options","options":[""]})");
    EXPECT_TRUE(options.isEmpty()) << "a useless list calls nothing";
    events.dispatch("agent.progress", R"({"turnId":"t1","kind":"options","options":["Yes",{"label":"No"}]})");
    ASSERT_EQ(options.size(), 1);
    EXPECT_EQ(options.at(0), (QList<ChatChoice>{{"Yes", std::nullopt}, {"No", std::nullopt}}));

    const auto count = texts.size() + tools.size();
    events.dispatch("agent.progress", R"({"turnId":"other","kind":"delta","text":"x"})");
    events.dispatch("agent.progress", R"({"turnId":"t1","kind":5,"text":"x"})");
    events.dispatch("agent.progress", "not json");
    events.dispatch("message", R"({"turnId":"t1","kind":"delta","text":"x"})");
    EXPECT_EQ(texts.size() + tools.size(), count);

    // A handler that removes its own listener is safe.
    events.turnListeners["t1"].handler = [&](const TurnProgress&) { events.turnListeners.remove("t1"); };
    delta("q", "");
    EXPECT_FALSE(events.turnListeners.contains("t1"));

    QList<VantleNotification> said;
    events.onNotification = [&](const VantleNotification& n) { said << n; };
    events.dispatch("vantle.event", R"({"type":"notification.read","data":{"id":"r","title":"Read"}})");
    events.dispatch("vantle.event", R"({"type":"notification.created","data":{"id":"n","title":"New"}})");
    events.dispatch("vantle.event", R"({"type":"notification.created","data":{"id":"n"}})");
    events.dispatch("vantle.event", R"({"type":"notification.created","data":"x"})");
    ASSERT_EQ(said.size(), 1);
    EXPECT_EQ(said.at(0).id, QStringLiteral("n")) << "only a created notification is told";
    EXPECT_EQ(said.at(0).title, QStringLiteral("New"));
    events.onNotification = nullptr;
}
