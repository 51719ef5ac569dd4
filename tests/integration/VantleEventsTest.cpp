#include "workspace/VantleEvents.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "workspace/Keychain.h"
#include "workspace/VantleClient.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QString streamPath = QStringLiteral("/api/events/stream");
const QString tokenPath = QStringLiteral("/api/auth/desktop/token");

class VantleEventsTest : public WorkspaceFixture {
protected:
    void TearDown() override {
        events().stop();
        events().onKeyEnded = nullptr;
        events().onNotification = nullptr;
        events().turnListeners.clear();
        scheduler->advance(0);
        WorkspaceFixture::TearDown();
    }
    static VantleEvents& events() { return VantleEvents::shared(); }
    int connections() const { return countOf("GET", streamPath); }
    int openStreams() const { return sim->control("GET", "/sim/state").toObject().value("streams").toInt(); }
    // The loop waits in a sleep of virtual time.
    bool sleeping() {
        return spinUntil([&] {
            const auto state = events().state();
            return state == VantleEvents::State::backingOff || state == VantleEvents::State::keyEnded ||
                   state == VantleEvents::State::idle;
        });
    }
    bool streaming() {
        return spinUntil([&] { return events().state() == VantleEvents::State::streaming; });
    }
    // Expects no new connection just before `seconds` have passed, and one right at it.
    void expectReconnectAfter(double seconds) {
        const int before = connections();
        ASSERT_TRUE(sleeping());
        scheduler->advance(seconds - 0.01);
        spinFor(30);
        ASSERT_EQ(connections(), before) << "too early, before " << seconds << " s";
        scheduler->advance(0.01);
        ASSERT_TRUE(spinUntil([&] { return connections() == before + 1; }))
            << "no connection after " << seconds;
    }
};

} // namespace

TEST_F(VantleEventsTest, RefusedStreamsBackOffUpToAMinute) {
    fault(streamPath, {{"status", 503}, {"times", 0}});
    events().start();
    ASSERT_TRUE(spinUntil([&] { return connections() == 1; }));
    for (const double wait : {2, 4, 8, 16, 32, 60, 60}) {
        expectReconnectAfter(wait);
    }
    const auto request = requestsTo(streamPath).at(0).toObject().value("headers").toObject();
    EXPECT_EQ(request.value("accept").toString(), QStringLiteral("application/json, text/event-stream"));
    EXPECT_TRUE(request.value("authorization").toString().startsWith("Bearer "));
}

TEST_F(VantleEventsTest, AStreamRefusedWithAGoodKeyGetsANewTokenAndAWithdrawnKeyEnds) {
    int keyEnded = 0;
    events().onKeyEnded = [&] { ++keyEnded; };
    events().start();
    ASSERT_TRUE(spinUntil([&] { return openStreams() == 1; }));
    EXPECT_EQ(countOf("POST", tokenPath), 1);

    // Tokens expire: the stream is refused once, the token is thrown away, a new one opens it.
    sim->control("POST", "/sim/tokens/expire");
    sim->control("POST", "/sim/stream/close", QJsonObject{{"clean", true}});
    expectReconnectAfter(2); // a clean end waits two seconds, and that connection is refused
    expectReconnectAfter(4); // then the back-off, a new exchange, and the stream is open again
    ASSERT_TRUE(spinUntil([&] { return openStreams() == 1; }));
    EXPECT_EQ(countOf("POST", tokenPath), 2);
    EXPECT_EQ(keyEnded, 0);

    // The key is withdrawn and the stream ends. The next pass is refused with the old token;
    // the pass after that finds the exchange refused too, and that is told, every 600 s.
    sim->control("POST", "/sim/key", QJsonObject{{"revoked", true}});
    expectReconnectAfter(2);
    ASSERT_TRUE(sleeping());
    EXPECT_EQ(keyEnded, 0);
    scheduler->advance(4);
    ASSERT_TRUE(spinUntil([&] { return keyEnded == 1; }));
    const int exchanges = countOf("POST", tokenPath);
    ASSERT_TRUE(sleeping());
    scheduler->advance(599);
    spinFor(30);
    EXPECT_EQ(countOf("POST", tokenPath), exchanges) << "silence for 600 s";
    scheduler->advance(1);
    ASSERT_TRUE(spinUntil([&] { return keyEnded == 2; }));

    // Restored, the next pass finds it by itself.
    sim->control("POST", "/sim/key", QJsonObject{{"revoked", false}});
    ASSERT_TRUE(sleeping());
    scheduler->advance(600);
    ASSERT_TRUE(spinUntil([&] { return openStreams() == 1; }));
    EXPECT_EQ(keyEnded, 2);
}

TEST_F(VantleEventsTest, RestartsLeaveOneLoopAndDroppedStreamsReconnectByThemselves) {
    events().restart();
    events().restart();
    ASSERT_TRUE(spinUntil([&] { return openStreams() == 1; }));
    spinFor(100);
    EXPECT_EQ(connections(), 1) << "the first loop ended before it connected";

    // The server goes quiet: no keep-alives, no events. A minute later the program reconnects.
    sim->control("POST", "/sim/stream", QJsonObject{{"keepalive_ms", 0}});
    ASSERT_TRUE(streaming());
    scheduler->advance(59);
    spinFor(30);
    EXPECT_EQ(connections(), 1);
    scheduler->advance(1);
    expectReconnectAfter(2);
    ASSERT_TRUE(streaming());

    // The connection is lost: the loop comes back by itself within the grown back-off.
    const int lost = connections();
    sim->control("POST", "/sim/stream/close", QJsonObject{{"clean", false}});
    ASSERT_TRUE(sleeping());
    scheduler->advance(4);
    ASSERT_TRUE(spinUntil([&] { return connections() > lost; })) << "no connection after 4 s";
    ASSERT_TRUE(streaming());

    // The key goes, with no restart: the stream lives on until it ends, then the loop waits
    // 30 s at a time, and once the key is back it connects by itself.
    services.secretStore->secrets.clear();
    spinFor(50);
    EXPECT_EQ(events().state(), VantleEvents::State::streaming);
    const int before = connections();
    sim->control("POST", "/sim/stream/close", QJsonObject{{"clean", true}});
    ASSERT_TRUE(sleeping());
    scheduler->advance(2);
    ASSERT_TRUE(spinUntil([&] { return events().state() == VantleEvents::State::idle; }));
    scheduler->advance(30);
    spinFor(30);
    EXPECT_EQ(events().state(), VantleEvents::State::idle);
    services.secretStore->secrets.insert(QLatin1String(Keychain::desktopKeyAccount), sim->desktopKey());
    EXPECT_EQ(connections(), before);
    expectReconnectAfter(30);
    EXPECT_TRUE(streaming());
}

TEST_F(VantleEventsTest, ProgressAndNotificationsArriveAndGarbageIsSurvived) {
    QStringList texts;
    QList<VantleNotification> notes;
    events().onNotification = [&](const VantleNotification& n) { notes << n; };
    events().turnListeners.insert("turn-9", {QString(), [&](const TurnProgress& p) {
                                                 if (auto* t = std::get_if<TurnProgress::Text>(&p.value)) {
                                                     texts << t->text;
                                                 }
                                             }});
    events().start();
    ASSERT_TRUE(spinUntil([&] { return openStreams() == 1; }));

    // An event four times the bound: the connection goes as soon as the bound is passed, and
    // the loop comes back by itself after its back-off.
    sim->control("POST", "/sim/events/raw",
                 QJsonObject{{"prefix", "event: agent.progress\ndata: "},
                             {"text", "a"},
                             {"repeat", 64 * 1024 * 1024},
                             {"suffix", "\n\n"}});
    expectReconnectAfter(2);
    ASSERT_TRUE(spinUntil([&] { return openStreams() == 1; }));

    // Garbage is survived on the same connection, and the events after it arrive.
    sim->control("POST", "/sim/events", QJsonObject{{"event", "agent.progress"}, {"data", "{not json"}});
    sim->control("POST", "/sim/stream", QJsonObject{{"line_end", "crlf"}});
    for (const auto& [text, offset] : {std::pair{"Tere", 0}, std::pair{" õhtust", 4}, std::pair{"!", 11}}) {
        sim->control(
            "POST", "/sim/events",
            QJsonObject{
                {"event", "agent.progress"},
                {"data",
                 QJsonObject{{"turnId", "turn-9"}, {"kind", "delta"}, {"text", text}, {"offset", offset}}}});
    }
    sim->control("POST", "/sim/notifications",
                 QJsonObject{{"title", "Leave approved"}, {"agentId", "pelka"}});
    ASSERT_TRUE(spinUntil([&] { return texts.size() == 3 && notes.size() == 1; }));
    EXPECT_EQ(texts.last(), QStringLiteral("Tere õhtust!"));
    EXPECT_EQ(notes.at(0).agentId, QStringLiteral("pelka"));
    EXPECT_EQ(connections(), 2);

    // A runaway answer stops growing at the bound; what comes after it is dropped.
    const auto progress = [&](const char* kind, const QString& text) {
        events().dispatch("agent.progress",
                          QJsonDocument(QJsonObject{{"turnId", "turn-9"}, {"kind", kind}, {"text", text}})
                              .toJson(QJsonDocument::Compact));
    };
    texts.clear();
    for (int i = 0; i < 4; ++i) {
        progress("delta", QString(100 * 1024, QLatin1Char('x')));
    }
    ASSERT_EQ(texts.size(), 3);
    EXPECT_EQ(texts.last().size(), VantleEvents::answerLimit);
    progress("done", QString(VantleEvents::answerLimit + 1, QLatin1Char('y')));
    EXPECT_EQ(texts.last(), QString(VantleEvents::answerLimit, QLatin1Char('y')));
}
