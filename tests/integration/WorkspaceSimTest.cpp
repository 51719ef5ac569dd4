// Smoke test of the workspace simulator itself: the peer that the client's integration tests rely
// on must start, authenticate, log, fail on request, stream, and stop as documented.

#include "support/SimProcess.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>

#include <gtest/gtest.h>

namespace {

QJsonObject object(const QJsonValue& value) {
    return value.toObject();
}

QByteArray eventsSummary(const QList<SimProcess::Stream::Event>& events) {
    QByteArray out;
    for (const auto& event : events)
        out += event.name + ' ' + event.data + '\n';
    return out;
}

} // namespace

TEST(WorkspaceSim, StartsAndExchangesTheDesktopKey) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    EXPECT_GT(sim.port(), 0);
    EXPECT_EQ(sim.baseUrl().toString(), QStringLiteral("http://127.0.0.1:%1/app").arg(sim.port()));
    EXPECT_EQ(sim.rootUrl().toString(), QStringLiteral("http://127.0.0.1:%1").arg(sim.port()));

    // The company call is public.
    const auto company = sim.call("GET", "/api/company");
    EXPECT_EQ(company.status, 200);
    EXPECT_EQ(object(company.json()).value("language").toString(), "en");

    // The exchange takes the key as a bearer and gives a token with its lifetime.
    const auto good =
        sim.request("POST", "/app/api/auth/desktop/token", {{"Authorization", "Bearer demo-key"}});
    ASSERT_EQ(good.status, 200);
    const QString token = object(good.json()).value("access_token").toString();
    EXPECT_FALSE(token.isEmpty());
    EXPECT_EQ(object(good.json()).value("expires_in").toInt(), 3600);
    const auto wrong =
        sim.request("POST", "/app/api/auth/desktop/token", {{"Authorization", "Bearer not-it"}});
    EXPECT_EQ(wrong.status, 401);
    EXPECT_TRUE(object(wrong.json()).value("detail").isString());
    EXPECT_EQ(sim.request("POST", "/app/api/auth/desktop/token").status, 401);

    // Bearer calls: the token passes, nothing else does.
    const auto me = sim.call("GET", "/api/auth/me", token);
    EXPECT_EQ(me.status, 200);
    EXPECT_TRUE(object(me.json()).value("email").isString());
    EXPECT_EQ(sim.call("GET", "/api/auth/me").status, 401);
    EXPECT_EQ(sim.call("GET", "/api/auth/me", "vat_forged").status, 401);
    EXPECT_EQ(sim.call("GET", "/api/auth/me", "demo-key").status, 401);

    // A withdrawn key refuses the exchange and ends the tokens it gave; restoring it works again.
    sim.control("POST", "/sim/key", QJsonObject{{"revoked", true}});
    EXPECT_EQ(sim.call("GET", "/api/auth/me", token).status, 401);
    EXPECT_TRUE(sim.exchangeToken().isEmpty());
    sim.control("POST", "/sim/key", QJsonObject{{"revoked", false}});
    const QString fresh = sim.exchangeToken();
    ASSERT_FALSE(fresh.isEmpty());
    EXPECT_EQ(sim.call("GET", "/api/auth/me", fresh).status, 200);

    // Token lifetimes as the exchange writes them, and tokens expired on demand.
    sim.control("POST", "/sim/tokens", QJsonObject{{"expires_in", "3600"}});
    const auto asText =
        sim.request("POST", "/app/api/auth/desktop/token", {{"Authorization", "Bearer demo-key"}});
    EXPECT_EQ(object(asText.json()).value("expires_in"), QJsonValue("3600"));
    sim.control("POST", "/sim/tokens", QJsonObject{{"expires_in", QJsonValue::Null}});
    const auto missing =
        sim.request("POST", "/app/api/auth/desktop/token", {{"Authorization", "Bearer demo-key"}});
    EXPECT_FALSE(object(missing.json()).contains("expires_in"));
    sim.control("POST", "/sim/tokens/expire");
    EXPECT_EQ(sim.call("GET", "/api/auth/me", fresh).status, 401);

    // Another key and another base path.
    SimProcess other({"--key", "k-2", "--base", "/ws"});
    ASSERT_TRUE(other.isRunning());
    EXPECT_EQ(other.baseUrl().path(), "/ws");
    EXPECT_FALSE(other.exchangeToken().isEmpty());
    EXPECT_EQ(
        other.request("POST", "/ws/api/auth/desktop/token", {{"Authorization", "Bearer demo-key"}}).status,
        401);
}

TEST(WorkspaceSim, LogsRequestsWithLowerCaseHeadersAndRawBodies) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    const QString token = sim.exchangeToken();
    sim.clearRequests();

    const QByteArray thread =
        R"({"kind":"agent","participants":[{"ref":"morvo","type":"agent"}],"title":"Tõnu"})";
    const auto created = sim.request("POST", "/app/api/chat/threads",
                                     {{"Authorization", "Bearer " + token.toUtf8()},
                                      {"Content-Type", "application/json"},
                                      {"X-Mixed-Case", "Yes"}},
                                     thread);
    ASSERT_EQ(created.status, 201);
    const QString threadId = object(created.json()).value("id").toString();
    ASSERT_FALSE(threadId.isEmpty());
    EXPECT_EQ(sim.call("GET", "/api/chat/threads/" + threadId + "/messages?limit=20", token).status, 200);

    const QByteArray boundary = "mirk-0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0";
    const QByteArray upload = "--" + boundary +
                              "\r\nContent-Disposition: form-data; name=\"folder\"\r\n\r\nUploads\r\n--" +
                              boundary +
                              "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a'b.bin\"\r\n"
                              "Content-Type: application/octet-stream\r\n\r\n" +
                              QByteArray("\x00\x01\xff\r\n", 5) + "\r\n--" + boundary + "--\r\n";
    const auto stored = sim.call("POST", "/api/knowledge/documents", token, upload,
                                 "multipart/form-data; boundary=" + boundary);
    EXPECT_EQ(stored.status, 201);
    EXPECT_EQ(object(stored.json()).value("name").toString(), "a'b.bin");

    const QJsonArray log = sim.requests();
    ASSERT_EQ(log.size(), 3);
    const QJsonObject first = log.at(0).toObject();
    EXPECT_EQ(first.value("method").toString(), "POST");
    EXPECT_EQ(first.value("path").toString(), "/app/api/chat/threads");
    EXPECT_EQ(QByteArray::fromBase64(first.value("body_base64").toString().toLatin1()), thread);
    const QJsonObject headers = first.value("headers").toObject();
    EXPECT_EQ(headers.value("x-mixed-case").toString(), "Yes");
    EXPECT_EQ(headers.value("authorization").toString(), "Bearer " + token);
    EXPECT_EQ(headers.value("content-type").toString(), "application/json");
    for (const QString& name : headers.keys())
        EXPECT_EQ(name, name.toLower());

    EXPECT_EQ(log.at(1).toObject().value("path").toString(),
              "/app/api/chat/threads/" + threadId + "/messages?limit=20");
    EXPECT_EQ(log.at(1).toObject().value("body_base64").toString(), "");

    const QJsonObject third = log.at(2).toObject();
    EXPECT_EQ(QByteArray::fromBase64(third.value("body_base64").toString().toLatin1()), upload);
    EXPECT_EQ(third.value("headers").toObject().value("content-type").toString(),
              "multipart/form-data; boundary=" + QString::fromLatin1(boundary));

    // Control calls stay out of the log, and the log can be cleared.
    EXPECT_EQ(sim.requests().size(), 3);
    sim.clearRequests();
    EXPECT_TRUE(sim.requests().isEmpty());
}

TEST(WorkspaceSim, InjectsFaultsPerPath) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    const QString token = sim.exchangeToken();

    // A status with a body, once; then the path answers as usual again.
    sim.control("POST", "/sim/faults",
                QJsonObject{{"path", "/app/api/auth/me"},
                            {"status", 503},
                            {"json", QJsonObject{{"detail", "Down"}}}});
    const auto down = sim.call("GET", "/api/auth/me", token);
    EXPECT_EQ(down.status, 503);
    EXPECT_EQ(object(down.json()).value("detail").toString(), "Down");
    EXPECT_EQ(sim.call("GET", "/api/auth/me", token).status, 200);

    // Twice, then gone; the rule fires before authorisation.
    sim.control("POST", "/sim/faults",
                QJsonObject{{"path", "/app/api/agents"}, {"status", 429}, {"times", 2}});
    EXPECT_EQ(sim.call("GET", "/api/agents").status, 429);
    EXPECT_EQ(sim.call("GET", "/api/agents", token).status, 429);
    EXPECT_EQ(sim.call("GET", "/api/agents", token).status, 200);

    // A body that isn't JSON.
    sim.control("POST", "/sim/faults", QJsonObject{{"path", "/app/api/time/state"}, {"action", "malformed"}});
    const auto malformed = sim.call("GET", "/api/time/state", token);
    EXPECT_EQ(malformed.status, 200);
    EXPECT_FALSE(malformed.body.isEmpty());
    EXPECT_TRUE(malformed.json().isUndefined());

    // A connection dropped with no answer, on every path under a prefix until cleared.
    sim.control("POST", "/sim/faults",
                QJsonObject{{"path", "/app/api/time/*"}, {"action", "drop"}, {"times", 0}});
    for (int i = 0; i < 2; ++i) {
        const auto dropped = sim.call("GET", "/api/time/recent", token);
        EXPECT_EQ(dropped.status, 0);
        EXPECT_TRUE(dropped.body.isEmpty());
    }
    sim.control("DELETE", "/sim/faults");
    EXPECT_EQ(sim.call("GET", "/api/time/recent", token).status, 200);

    // A body cut short, and a delay.
    sim.control("POST", "/sim/faults", QJsonObject{{"path", "/app/api/dorn/board"}, {"action", "cut"}});
    const auto cut = sim.call("GET", "/api/dorn/board", token);
    EXPECT_EQ(cut.status, 200);
    EXPECT_FALSE(cut.complete);
    // A delay holds the answer back: a client that gives up sooner has none, however busy the
    // machine.
    sim.control("POST", "/sim/faults", QJsonObject{{"path", "/app/api/dorn/board"}, {"delay_ms", 30000}});
    const SimProcess::Headers bearer{{"Authorization", "Bearer " + token.toUtf8()}};
    EXPECT_EQ(sim.request("GET", sim.basePath() + "/api/dorn/board", bearer, {}, 300).status, 0);
}

TEST(WorkspaceSim, ScriptedTurnPlaysOnTheStreamInOrder) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    const QString token = sim.exchangeToken();

    auto stream = sim.openStream(token);
    ASSERT_EQ(stream->status(), 200);
    ASSERT_TRUE(stream->waitFor(": connected"));
    EXPECT_EQ(sim.control("GET", "/sim/state").toObject().value("streams").toInt(), 1);

    const auto created = sim.call(
        "POST", "/api/chat/threads", token,
        R"({"kind":"agent","participants":[{"ref":"pelka","type":"agent"}],"title":"Mirk Vantle Agents"})");
    const QString threadId = object(created.json()).value("id").toString();
    ASSERT_FALSE(threadId.isEmpty());

    const QJsonArray steps{
        QJsonObject{{"kind", "tool"}, {"tool", "Get_Schedule"}, {"after_ms", 20}},
        QJsonObject{{"kind", "delta"}, {"text", "abc"}, {"offset", 0}, {"after_ms", 20}},
        QJsonObject{{"kind", "delta"}, {"text", "õZ"}, {"offset", 3}},
        QJsonObject{{"kind", "options"},
                    {"options", QJsonArray{"a", QJsonObject{{"label", "b"}, {"ref", "r"}}}}},
        QJsonObject{{"kind", "done"}, {"text", "abcõZ"}},
        QJsonObject{{"kind", "reply"}},
        QJsonObject{{"kind", "options"}, {"options", QJsonArray{"late"}}, {"after_ms", 50}},
    };
    sim.control("POST", "/sim/turns", QJsonObject{{"steps", steps}});
    const auto turn = sim.call("POST", "/api/chat/threads/" + threadId + "/turn", token,
                               R"({"message":"When is Tõnu away?","turnId":"turn-1"})");
    ASSERT_EQ(turn.status, 200);
    EXPECT_EQ(object(turn.json()).value("reply").toString(), "abcõZ");
    EXPECT_EQ(object(turn.json()).value("thread").toObject().value("id").toString(), threadId);

    ASSERT_TRUE(stream->waitForEvents(6)) << stream->body().toStdString();
    const auto events = stream->events();
    const QStringList expected{"tool", "delta", "delta", "options", "done", "options"};
    ASSERT_EQ(events.size(), expected.size()) << eventsSummary(events).toStdString();
    for (qsizetype i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events.at(i).name, "agent.progress");
        const QJsonObject data = QJsonDocument::fromJson(events.at(i).data).object();
        EXPECT_EQ(data.value("kind").toString(), expected.at(i)) << i;
        EXPECT_EQ(data.value("turnId").toString(), "turn-1") << i;
    }
    const QJsonObject second = QJsonDocument::fromJson(events.at(2).data).object();
    EXPECT_EQ(second.value("text").toString(), "õZ");
    EXPECT_EQ(second.value("offset").toInt(), 3);
    EXPECT_EQ(QJsonDocument::fromJson(events.at(0).data).object().value("state").toString(), "started");

    // The thread keeps the question and the answer, with the choices in the answer's meta.
    const auto messages = sim.call("GET", "/api/chat/threads/" + threadId + "/messages?limit=20", token);
    const QJsonArray list = object(messages.json()).value("messages").toArray();
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list.at(0).toObject().value("authorType").toString(), "user");
    EXPECT_EQ(list.at(1).toObject().value("text").toString(), "abcõZ");

    // A pushed notification arrives as a workspace event.
    const QJsonObject pushed = sim.control("POST", "/sim/notifications",
                                           QJsonObject{{"title", "Timesheet gap"}, {"agentId", "pelka"}})
                                   .toObject()
                                   .value("notification")
                                   .toObject();
    ASSERT_TRUE(stream->waitForEvents(7));
    const auto notice = stream->events().last();
    EXPECT_EQ(notice.name, "vantle.event");
    const QJsonObject payload = QJsonDocument::fromJson(notice.data).object();
    EXPECT_EQ(payload.value("type").toString(), "notification.created");
    EXPECT_EQ(payload.value("data").toObject().value("id"), pushed.value("id"));

    // The server may end the stream cleanly.
    sim.control("POST", "/sim/stream/close", QJsonObject{{"clean", true}});
    ASSERT_TRUE(stream->waitForEnd());
    EXPECT_TRUE(stream->endedCleanly());
}

TEST(WorkspaceSim, EndsEveryConnectionInOrderOnSigterm) {
    SimProcess sim({"--demo"});
    ASSERT_TRUE(sim.isRunning());
    auto stream = sim.openStream(sim.exchangeToken());
    ASSERT_EQ(stream->status(), 200);
    // And a connection left open between requests, as a browser keeps one.
    QTcpSocket idle;
    idle.connectToHost(QHostAddress::LocalHost, sim.port());
    ASSERT_TRUE(idle.waitForConnected(10000));
    idle.write("GET /sim/state HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    ASSERT_TRUE(idle.waitForReadyRead(10000));

    // Every connection is closed and every worker ends in order; none is left to the
    // simulator's last resort of ending without them. (bench/keyring-and-simulator-stops
    // measures how long it takes.)
    EXPECT_TRUE(sim.terminate(30000));
    EXPECT_EQ(sim.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(sim.exitCode(), 0);
    EXPECT_TRUE(sim.log().endsWith("workspace-sim: stopped\n")) << sim.log().toStdString();
    EXPECT_TRUE(stream->waitForEnd(2000));
}
