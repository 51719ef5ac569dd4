#include "workspace/VantleClient.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Network.h"
#include "notifications/VantleApproval.h"
#include "support/HttpStub.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "workspace/TokenStore.h"
#include "workspace/VantleEvents.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <vector>

using VantleClient::ClientError;

namespace {

class VantleClientTest : public WorkspaceFixture {};

const QString tokenPath = QStringLiteral("/api/auth/desktop/token");
const QString mePath = QStringLiteral("/api/auth/me");
const QString streamPath = QStringLiteral("/api/events/stream");

} // namespace

TEST_F(VantleClientTest, ConcurrentCallsShareOneExchange) {
    std::vector<QCoro::Task<VantleClient::Result<VantleClient::Identity>>> calls;
    for (int i = 0; i < 10; ++i) {
        calls.push_back(VantleClient::whoAmI());
    }
    for (auto& call : calls) {
        const auto result = await(std::move(call));
        ASSERT_TRUE(result) << result.error().localizedDescription().toStdString();
        EXPECT_FALSE(result->email.isEmpty());
    }
    EXPECT_EQ(countOf("POST", tokenPath), 1);
    EXPECT_EQ(countOf("GET", mePath), 10);

    // The exchange itself: the key as a bearer, no body, and the key goes nowhere else.
    const auto exchange = requestsTo(tokenPath).at(0).toObject();
    EXPECT_EQ(exchange.value("headers").toObject().value("authorization").toString(),
              QStringLiteral("Bearer ") + sim->desktopKey());
    EXPECT_EQ(exchange.value("headers").toObject().value("accept").toString(),
              QStringLiteral("application/json"));
    EXPECT_TRUE(SimProcess::bodyOf(exchange).isEmpty());
    for (const auto& entry : requestsTo(mePath)) {
        EXPECT_FALSE(entry.toObject()
                         .value("headers")
                         .toObject()
                         .value("authorization")
                         .toString()
                         .contains(sim->desktopKey()));
    }
}

TEST_F(VantleClientTest, AStaleTokenCostsOneMoreExchangeAndNeverMore) {
    ASSERT_TRUE(await(VantleClient::whoAmI()));
    // 401 once, a new exchange, then 200: the caller sees success.
    fault(mePath, {{"status", 401}, {"times", 1}});
    EXPECT_TRUE(await(VantleClient::whoAmI()));
    EXPECT_EQ(countOf("POST", tokenPath), 2);

    // 401 twice: the second one is the caller's error, with the detail or the status.
    fault(mePath, {{"status", 401}, {"times", 2}, {"json", QJsonObject{{"detail", "Token went stale"}}}});
    auto twice = await(VantleClient::whoAmI());
    ASSERT_FALSE(twice);
    EXPECT_EQ(twice.error().localizedDescription(), QStringLiteral("Vantle: Token went stale"));
    fault(mePath, {{"status", 401}, {"times", 2}, {"body", "no json"}});
    twice = await(VantleClient::whoAmI());
    ASSERT_FALSE(twice);
    EXPECT_EQ(twice.error().localizedDescription(), QStringLiteral("Vantle: HTTP 401"));

    // The workspace withdrew the key: the retry's exchange says so.
    sim->control("POST", "/sim/tokens/expire");
    sim->control("POST", "/sim/key", QJsonObject{{"revoked", true}});
    const auto ended = await(VantleClient::whoAmI());
    ASSERT_FALSE(ended);
    EXPECT_EQ(ended.error().kind, ClientError::Kind::keyEnded);
}

TEST_F(VantleClientTest, TokenLifetimeKeepsAMarginAndAFloor) {
    const std::pair<QJsonValue, qint64> cases[] = {
        {3600, 3540}, {90, 30}, {QJsonValue::Null, 840}, {QStringLiteral("3600"), 840}, {45, 30}};
    for (const auto& [expiresIn, seconds] : cases) {
        sim->control("POST", "/sim/tokens", QJsonObject{{"expires_in", expiresIn}, {"valid_for_s", 7200}});
        VantleClient::reset();
        ASSERT_TRUE(await(VantleClient::TokenStore::shared().token()));
        const auto cached = VantleClient::TokenStore::shared().cached();
        ASSERT_TRUE(cached);
        EXPECT_EQ(base::Clock::now().secsTo(cached->expires), seconds)
            << QJsonDocument(QJsonObject{{"e", expiresIn}}).toJson().toStdString();
    }
    // Used until then, and renewed after.
    const int before = countOf("POST", tokenPath);
    scheduler->advance(29);
    ASSERT_TRUE(await(VantleClient::TokenStore::shared().token()));
    EXPECT_EQ(countOf("POST", tokenPath), before);
    scheduler->advance(1);
    ASSERT_TRUE(await(VantleClient::TokenStore::shared().token()));
    EXPECT_EQ(countOf("POST", tokenPath), before + 1);
}

TEST_F(VantleClientTest, AResetDuringAnExchangeKeepsItsTokenFromTheCache) {
    auto& tokens = VantleClient::TokenStore::shared();
    fault(tokenPath, {{"action", "delay"}, {"delay_ms", 300}, {"times", 1}});
    auto first = tokens.token();
    auto joined = tokens.token();
    ASSERT_TRUE(tokens.isExchanging());
    tokens.reset();
    EXPECT_FALSE(tokens.isExchanging());
    const auto a = await(std::move(first));
    const auto b = await(std::move(joined));
    ASSERT_TRUE(a);
    ASSERT_TRUE(b);
    EXPECT_EQ(*a, *b) << "the waiting callers still get the old exchange's token";
    EXPECT_FALSE(tokens.cached()) << "but it is not kept";
    EXPECT_EQ(countOf("POST", tokenPath), 1);
    ASSERT_TRUE(await(tokens.token()));
    EXPECT_EQ(countOf("POST", tokenPath), 2) << "the next caller starts a new exchange";
    EXPECT_TRUE(tokens.cached());
}

TEST_F(VantleClientTest, ATokenGoesOnlyToTheWorkspaceItWasExchangedAt) {
    SimProcess other;
    const auto mine = [](const SimProcess& s, const QString& path) {
        int n = 0;
        for (const auto& entry : s.requests()) {
            n += entry.toObject().value("path").toString() == s.basePath() + path ? 1 : 0;
        }
        return n;
    };
    // Switched to another workspace while the exchange with the first one is under way.
    fault(tokenPath, {{"action", "delay"}, {"delay_ms", 300}, {"times", 1}});
    VantleClient::reset();
    auto me = VantleClient::whoAmI();
    ASSERT_TRUE(VantleClient::TokenStore::shared().isExchanging());
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), other.baseUrl().toString());
    ASSERT_TRUE(await(std::move(me)));
    EXPECT_EQ(mine(other, mePath), 1) << "the first workspace's token was never tried at the second";
    EXPECT_EQ(mine(other, tokenPath), 1);
    EXPECT_EQ(countOf("GET", mePath), 0);

    // A token kept for the first workspace is not given to the second either.
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), sim->baseUrl().toString());
    ASSERT_TRUE(await(VantleClient::whoAmI()));
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), other.baseUrl().toString());
    ASSERT_TRUE(await(VantleClient::whoAmI()));
    EXPECT_EQ(mine(other, mePath), 2);
    EXPECT_EQ(mine(other, tokenPath), 2);
}

TEST_F(VantleClientTest, StatusTextsInBothLanguages) {
    fault(mePath, {{"status", 403}, {"json", QJsonObject{{"detail", "Only for owners"}}}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().localizedDescription(),
              QStringLiteral("Only for owners"));
    fault(mePath, {{"status", 500}, {"json", QJsonObject{{"detail", "Database asleep"}}}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().localizedDescription(),
              QStringLiteral("Vantle: Database asleep"));
    fault(mePath, {{"status", 429}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().localizedDescription(),
              QStringLiteral("Vantle is busy; try again in a moment."));
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    fault(mePath, {{"status", 429}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().localizedDescription(),
              QStringLiteral("Vantle on hõivatud, proovi hetke pärast uuesti."));
    fault(mePath, {{"status", 200}, {"json", QJsonObject{{"name", "No mail"}}}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().localizedDescription(),
              QStringLiteral("Vantle vastas ootamatult"));
    fault(mePath, {{"action", "malformed"}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().kind, ClientError::Kind::badResponse);
    // Qt sends a request again once when a kept-alive connection closes unanswered.
    fault(mePath, {{"action", "drop"}, {"times", 2}});
    EXPECT_EQ(await(VantleClient::whoAmI()).error().kind, ClientError::Kind::transport);

    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("bad host/x"));
    VantleClient::reset();
    EXPECT_EQ(await(VantleClient::whoAmI()).error().kind, ClientError::Kind::notConnected);
}

TEST_F(VantleClientTest, AccountFactsAreReadAsTheWorkspaceGivesThem) {
    sim->control(
        "POST", "/sim/me",
        QJsonObject{
            {"email", "kai@acme.example"}, {"name", ""}, {"role", "member"}, {"roles", QJsonArray{"admin"}}});
    auto me = await(VantleClient::whoAmI());
    ASSERT_TRUE(me);
    EXPECT_EQ(me->name, QStringLiteral("kai@acme.example"));
    EXPECT_EQ(await(VantleClient::isAdministrator()).value(), true);
    sim->control("POST", "/sim/me", QJsonObject{{"email", "kai@acme.example"}, {"role", "Admin"}});
    EXPECT_EQ(await(VantleClient::isAdministrator()).value(), false) << "case matters";

    fault("/api/agents",
          {{"status", 200},
           {"json", QJsonObject{{"agents", QJsonArray{QJsonObject{{"id", "dorn"}}, QJsonObject{{"x", 1}},
                                                      QJsonObject{{"id", "zed"}}}}}}});
    EXPECT_EQ(await(VantleClient::enabledAgents()).value(), (QSet<QString>{"dorn", "zed"}));
    fault("/api/agents",
          {{"status", 200}, {"json", QJsonObject{{"agents", QJsonArray{QJsonObject{{"id", "dorn"}}, 3}}}}});
    EXPECT_TRUE(await(VantleClient::enabledAgents()).value().isEmpty());

    await(VantleClient::markRead("no-such-notification"));
    EXPECT_EQ(countOf("POST", "/api/notifications/no-such-notification/read"), 1)
        << "sent once, the 404 swallowed";
}

TEST_F(VantleClientTest, ChatBodiesAreExactAndRepliesLenient) {
    const auto thread = await(VantleClient::createThread(VantleAgent::morvo));
    ASSERT_TRUE(thread);
    EXPECT_EQ(
        SimProcess::bodyOf(requestsTo("/api/chat/threads").at(0)),
        QByteArray(
            R"({"kind":"agent","participants":[{"ref":"morvo","type":"agent"}],"title":"Mirk Vantle Agents"})"));
    EXPECT_EQ(requestsTo("/api/chat/threads")
                  .at(0)
                  .toObject()
                  .value("headers")
                  .toObject()
                  .value("content-type")
                  .toString(),
              QStringLiteral("application/json"));

    const QString turnPath = QStringLiteral("/api/chat/threads/%1/turn").arg(*thread);
    auto reply =
        await(VantleClient::turn(*thread, QStringLiteral("Tere, Morvo!"), "turn-1", {}, std::nullopt));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->threadId, *thread);
    EXPECT_EQ(SimProcess::bodyOf(requestsTo(turnPath).at(0)),
              QByteArray(R"({"message":"Tere, Morvo!","turnId":"turn-1"})"));
    reply = await(VantleClient::turn(*thread, "Pick", "turn-2", {"d1", "d2"}, QStringLiteral("email:send")));
    EXPECT_EQ(
        SimProcess::bodyOf(requestsTo(turnPath).at(1)),
        QByteArray(
            R"({"attachmentIds":["d1","d2"],"choiceRef":"email:send","message":"Pick","turnId":"turn-2"})"));

    const std::pair<QJsonObject, QString> replies[] = {
        {{{"reply", "x"}}, *thread},
        {{{"reply", "x"}, {"thread", QJsonObject{{"id", "t2"}}}}, "t2"},
        {{{"reply", "x"}, {"thread", 7}}, *thread},
    };
    for (const auto& [json, expected] : replies) {
        fault(turnPath, {{"status", 200}, {"json", json}});
        reply = await(VantleClient::turn(*thread, "q", "t", {}, std::nullopt));
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->threadId, expected);
    }
    fault(turnPath, {{"status", 200}, {"json", QJsonObject{{"thread", QJsonObject{{"id", "t2"}}}}}});
    EXPECT_EQ(await(VantleClient::turn(*thread, "q", "t", {}, std::nullopt)).error().kind,
              ClientError::Kind::badResponse);
}

TEST_F(VantleClientTest, NotificationThreadsTakeTheLastAgentMessage) {
    const auto pushed = sim->control(
        "POST", "/sim/notifications",
        QJsonObject{{"title", "Invoice"},
                    {"agentId", "lirra"},
                    {"thread_messages",
                     QJsonArray{QJsonObject{{"authorType", "user"}, {"text", "B"}},
                                QJsonObject{{"authorType", "agent"},
                                            {"text", "A"},
                                            {"meta", QJsonObject{{"options", QJsonArray{"x"}}}}}}}});
    const QString id = pushed.toObject().value("notification").toObject().value("id").toString();
    ASSERT_FALSE(id.isEmpty()) << QJsonDocument(pushed.toObject()).toJson().toStdString();
    const auto thread = await(VantleClient::thread(id));
    ASSERT_TRUE(thread) << thread.error().localizedDescription().toStdString();
    EXPECT_EQ(thread->lastMessage, QStringLiteral("A"));
    EXPECT_EQ(thread->options, (QList<ChatChoice>{{"x", std::nullopt}}));
    EXPECT_EQ(countOf("GET", QStringLiteral("/api/chat/threads/%1/messages?limit=20").arg(thread->threadId)),
              1);
}

TEST_F(VantleClientTest, ApprovalsAreReadAndDecidedWithExactBodies) {
    for (const char* id : {"ap-1", "ap-2", "ap-3"}) {
        sim->control("POST", "/sim/approvals",
                     QJsonObject{{"id", id},
                                 {"agent", "Morvo"},
                                 {"action", "Send the proposal"},
                                 {"payload", "18 400 €"},
                                 {"reversible", false},
                                 {"canDecide", QString(id) != "ap-3"},
                                 {"notify", false}});
    }
    const auto approval = await(VantleClient::approval("ap-1"));
    ASSERT_TRUE(approval) << approval.error().localizedDescription().toStdString();
    EXPECT_EQ(approval->agent, QStringLiteral("Morvo"));
    EXPECT_EQ(approval->details, QStringLiteral("18 400 €"));
    EXPECT_TRUE(approval->isWeighty);
    EXPECT_TRUE(approval->canDecide);

    // Approve with a comment, reject with none: the paths and the sorted, minimal bodies.
    EXPECT_FALSE(await(VantleClient::decide("ap-1", true, QStringLiteral("Go ahead"))));
    EXPECT_FALSE(await(VantleClient::decide("ap-2", false, QString())));
    const auto approved = requestsTo("/api/approvals/ap-1/approve");
    ASSERT_EQ(approved.size(), 1);
    EXPECT_EQ(SimProcess::bodyOf(approved.at(0)), QByteArray(R"({"decisionNote":"Go ahead"})"));
    EXPECT_EQ(approved.at(0).toObject().value("headers").toObject().value("content-type").toString(),
              QStringLiteral("application/json"));
    ASSERT_EQ(requestsTo("/api/approvals/ap-2/reject").size(), 1);
    EXPECT_EQ(SimProcess::bodyOf(requestsTo("/api/approvals/ap-2/reject").at(0)), QByteArray("{}"));

    // Refusals carry the workspace's words: a 403 as it stands, others behind "Vantle: ".
    const auto forbidden = await(VantleClient::decide("ap-3", true, std::nullopt));
    ASSERT_TRUE(forbidden);
    EXPECT_EQ(forbidden->localizedDescription(),
              QStringLiteral("You are not allowed to decide this approval."));
    const auto again = await(VantleClient::decide("ap-1", false, std::nullopt));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->localizedDescription(), QStringLiteral("Vantle: This approval was already approved."));

    // An approval without an action, and one that isn't there.
    fault("/api/approvals/ap-2", {{"status", 200}, {"json", QJsonObject{{"agent", "Morvo"}}}});
    const auto unreadable = await(VantleClient::approval("ap-2"));
    ASSERT_FALSE(unreadable);
    EXPECT_EQ(unreadable.error().kind, ClientError::Kind::badResponse);
    EXPECT_FALSE(await(VantleClient::approval("nope")));
}

TEST_F(VantleClientTest, ATimeOutIsToldAndOnlyACancelIsSilent) {
    // The silence limit ends the transfer: a time-out, with its own text, not a cancel.
    fault("/api/agents", {{"action", "delay"}, {"delay_ms", 3000}, {"times", 2}});
    auto slow = await(VantleClient::send("GET", "/api/agents", std::nullopt, "application/json", 0.2));
    ASSERT_FALSE(slow);
    EXPECT_FALSE(slow.error().isCancelled());
    EXPECT_EQ(slow.error().network, QNetworkReply::TimeoutError);
    EXPECT_EQ(slow.error().localizedDescription(), QStringLiteral("Vantle did not answer in time."));
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    slow = await(VantleClient::send("GET", "/api/agents", std::nullopt, "application/json", 0.2));
    ASSERT_FALSE(slow);
    EXPECT_EQ(slow.error().localizedDescription(), QStringLiteral("Vantle ei vastanud õigel ajal."));

    // The caller's cancel aborts the request, and only that counts as cancelled.
    fault("/api/agents", {{"action", "delay"}, {"delay_ms", 3000}, {"times", 1}});
    base::Cancel cancel;
    auto pending = VantleClient::send("GET", "/api/agents", std::nullopt, "application/json", 30, cancel);
    spinFor(50);
    cancel.cancel();
    scheduler->advance(0);
    const auto cancelled = await(std::move(pending));
    ASSERT_FALSE(cancelled);
    EXPECT_TRUE(cancelled.error().isCancelled());
}

// At the end of the program the network closes while the application still stands: a request
// still waiting is dropped, never woken, Qt's transfer thread ends with it, and a request after
// that goes out afresh.
TEST_F(VantleClientTest, ClosingTheNetworkDropsWhatWaitsAndEndsTheTransferThread) {
    const auto transferThreads = [] {
        int n = 0;
        for (const QString& task :
             QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            QFile comm(QStringLiteral("/proc/self/task/%1/comm").arg(task));
            n += comm.open(QIODevice::ReadOnly) && comm.readAll().startsWith("QNetworkAccess") ? 1 : 0;
        }
        return n;
    };
    fault("/api/agents", {{"action", "delay"}, {"delay_ms", 3000}, {"times", 1}});
    bool woken = false;
    auto waiting = [](bool& woken) -> QCoro::Task<> {
        co_await VantleClient::enabledAgents();
        woken = true;
    }(woken);
    ASSERT_TRUE(spinUntil([&] { return countOf("GET", "/api/agents") == 1; }));
    EXPECT_EQ(transferThreads(), 1);
    base::closeNetwork();
    EXPECT_FALSE(woken);
    // The thread is told to end and joined; the kernel lets it go a moment later.
    EXPECT_TRUE(spinUntil([&] { return transferThreads() == 0; }));
    EXPECT_FALSE(woken);
    EXPECT_TRUE(await(VantleClient::enabledAgents()));
}

TEST_F(VantleClientTest, RepliesAreReadUpToALimit) {
    const QByteArray agents = R"({"agents":[{"id":"dorn"}]})";
    auto padded = [&](qint64 size) {
        fault("/api/agents", {{"status", 200},
                              {"body", QString::fromLatin1(agents)},
                              {"content_type", "application/json"},
                              {"pad_bytes", size - agents.size()}});
    };
    padded(base::replyLimit);
    EXPECT_EQ(await(VantleClient::enabledAgents()).value(), QSet<QString>{"dorn"});
    padded(base::replyLimit + 1);
    EXPECT_EQ(await(VantleClient::enabledAgents()).error().kind, ClientError::Kind::badResponse);
    padded(qint64{64} * 1024 * 1024);
    EXPECT_EQ(await(VantleClient::enabledAgents()).error().kind, ClientError::Kind::badResponse);
}

TEST_F(VantleClientTest, RedirectsAreNeverFollowed) {
    HttpStub elsewhere;
    elsewhere.start();
    const QJsonObject redirect{{"action", "redirect"}, {"location", elsewhere.url("/collect").toString()}};

    fault(tokenPath, redirect);
    auto refused = await(VantleClient::whoAmI());
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().localizedDescription(), QStringLiteral("Vantle: HTTP 302"));
    fault(mePath, redirect);
    refused = await(VantleClient::whoAmI());
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().localizedDescription(), QStringLiteral("Vantle: HTTP 302"));

    fault(streamPath, redirect);
    VantleEvents::shared().start();
    ASSERT_TRUE(spinUntil([] { return VantleEvents::shared().state() == VantleEvents::State::backingOff; }));
    EXPECT_EQ(countOf("GET", streamPath), 1);
    EXPECT_EQ(elsewhere.requests(), 0) << "neither the key nor a token went elsewhere";
}

TEST_F(VantleClientTest, AnAddressWithEscapesReachesTheWorkspaceAsWritten) {
    startSim({"--base", "/my%20team/a%40b"});
    ASSERT_TRUE(await(VantleClient::whoAmI()));
    VantleEvents::shared().start();
    ASSERT_TRUE(spinUntil([&] { return !requestsTo(streamPath).isEmpty(); }));
    QStringList paths;
    for (const auto& entry : sim->requests()) {
        paths << entry.toObject().value("path").toString();
    }
    EXPECT_EQ(paths, (QStringList{"/my%20team/a%40b/api/auth/desktop/token", "/my%20team/a%40b/api/auth/me",
                                  "/my%20team/a%40b/api/events/stream"}));
    EXPECT_EQ(VantleClient::dashboardURL("inbox")->toEncoded(),
              "http://127.0.0.1:" + QByteArray::number(sim->port()) + "/my%20team/a%40b/inbox");
}
