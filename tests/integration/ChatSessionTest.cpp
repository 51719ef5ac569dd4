#include "chat/ChatSession.h"
#include "app/Settings.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "workspace/VantleEvents.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

// What one question showed, in order.
struct Record {
    QStringList texts;
    QStringList tools;
    QList<QList<ChatChoice>> options;
    QList<ChatSession::Result> completions;
    ChatSession::AnswerHandlers handlers() {
        return {[this](const QString& t) { texts << t; }, [this](const QString& t) { tools << t; },
                [this](const ChatSession::Result& r) { completions << r; },
                [this](const QList<ChatChoice>& o) { options << o; }};
    }
    const ChatSession::Answer* answer() const {
        return completions.isEmpty() ? nullptr : std::get_if<ChatSession::Answer>(&completions.last());
    }
};

class ChatSessionTest : public WorkspaceFixture {
protected:
    void SetUp() override {
        WorkspaceFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        VantleEvents::shared().start();
        ASSERT_TRUE(
            spinUntil([] { return VantleEvents::shared().state() == VantleEvents::State::streaming; }));
    }
    void TearDown() override {
        session.reset();
        VantleEvents::shared().stop();
        VantleEvents::shared().turnListeners.clear();
        WorkspaceFixture::TearDown();
    }
    void script(const QJsonArray& steps, const QJsonObject& extra = {}) {
        QJsonObject body = extra;
        body.insert("steps", steps);
        sim->control("POST", "/sim/turns", body);
    }
    void progress(const QString& turnId, QJsonObject fields) {
        fields.insert("turnId", turnId);
        sim->control("POST", "/sim/events", QJsonObject{{"event", "agent.progress"}, {"data", fields}});
    }
    std::unique_ptr<ChatSession> session = std::make_unique<ChatSession>();
};

QJsonObject step(const char* kind, QJsonObject fields = {}) {
    fields.insert("kind", kind);
    return fields;
}

} // namespace

TEST_F(ChatSessionTest, AnAnswerStreamsThenCompletesWithItsLinksAndHeldBackChoices) {
    QString nine;
    for (int i = 0; i < 9; ++i) {
        nine += QStringLiteral("https://h%1.example ").arg(i);
    }
    script({step("tool", {{"tool", "Get_Schedule"}}),
            step("delta", {{"text", "Your **week**"}, {"offset", 0}}),
            step("options", {{"options", QJsonArray{"Early"}}}),
            step("options", {{"options", QJsonArray{"Late"}}}),
            step("delta", {{"text", " [is busy"}, {"offset", 13}})},
           {{"reply", QJsonObject{{"reply", "Your week is busy. " + nine}}}});
    Record r;
    session->setAgent(VantleAgent::pelka);
    session->ask("How is my week?", {}, std::nullopt, r.handlers());
    ASSERT_TRUE(spinUntil([&] { return !r.completions.isEmpty(); }));
    EXPECT_EQ(r.tools, QStringList{"Get_Schedule"});
    EXPECT_EQ(r.texts.first(), QStringLiteral("Your **week**")) << "Markdown for the balloon to render";
    EXPECT_EQ(r.texts.last(), QStringLiteral("Your **week**")) << "a half-written link is hidden";
    ASSERT_TRUE(r.answer());
    EXPECT_EQ(r.answer()->text, QStringLiteral("Your week is busy."));
    EXPECT_EQ(r.answer()->links.size(), 4) << "nine links give four";
    ASSERT_EQ(r.options.size(), 1) << "choices before the answer wait for it";
    EXPECT_EQ(r.options.at(0).at(0).label, QStringLiteral("Late")) << "the later list replaced the earlier";
    EXPECT_TRUE(session->threadId);
    EXPECT_EQ(session->answeredTurnId(), VantleEvents::shared().turnListeners.keys().value(0));
    EXPECT_TRUE(session->answeredTurnId()->startsWith("desktop_"));
    EXPECT_EQ(session->answeredTurnId()->size(), 8 + 32);
}

TEST_F(ChatSessionTest, LateChoicesArriveWhileTheTurnLingersOnly) {
    Record r;
    session->ask("Hello", {}, std::nullopt, r.handlers());
    ASSERT_TRUE(spinUntil([&] { return r.answer() != nullptr; }));
    const QString turn = *session->answeredTurnId();
    scheduler->advance(44);
    progress(turn, {{"kind", "options"}, {"options", QJsonArray{"Yes"}}});
    ASSERT_TRUE(spinUntil([&] { return r.options.size() == 1; }));
    scheduler->advance(2);
    EXPECT_FALSE(session->answeredTurnId());
    EXPECT_FALSE(VantleEvents::shared().turnListeners.contains(turn));
    progress(turn, {{"kind", "options"}, {"options", QJsonArray{"Too late"}}});
    spinFor(100);
    EXPECT_EQ(r.options.size(), 1);
}

TEST_F(ChatSessionTest, ASecondQuestionAbandonsTheFirst) {
    script({step("delta", {{"text", "First"}, {"offset", 0}, {"after_ms", 0}})}, {{"reply_after_ms", 400}});
    Record first;
    Record second;
    session->ask("One", {}, std::nullopt, first.handlers());
    ASSERT_TRUE(spinUntil([&] { return !first.texts.isEmpty(); }));
    const QString firstTurn = *session->currentTurnId();
    session->ask("Two", {}, std::nullopt, second.handlers());
    EXPECT_NE(*session->currentTurnId(), firstTurn);
    EXPECT_FALSE(VantleEvents::shared().turnListeners.contains(firstTurn));
    ASSERT_TRUE(spinUntil([&] { return second.answer() != nullptr; }));
    spinFor(600);
    EXPECT_TRUE(first.completions.isEmpty()) << "an abandoned turn calls nobody";
    EXPECT_EQ(first.texts.size(), 1);
    EXPECT_EQ(countOf("POST", "/api/chat/threads"), 1) << "both questions went to one thread";

    // A failing turn reports its error and keeps the thread for the next question.
    fault(QStringLiteral("/api/chat/threads/%1/turn").arg(*session->threadId), {{"status", 503}});
    Record failing;
    session->ask("Three", {}, std::nullopt, failing.handlers());
    ASSERT_TRUE(spinUntil([&] { return !failing.completions.isEmpty(); }));
    ASSERT_TRUE(std::holds_alternative<VantleClient::ClientError>(failing.completions.at(0)));
    EXPECT_EQ(std::get<VantleClient::ClientError>(failing.completions.at(0)).localizedDescription(),
              QStringLiteral("Vantle: HTTP 503"));
    EXPECT_FALSE(session->currentTurnId());
    EXPECT_TRUE(session->threadId);
}

TEST_F(ChatSessionTest, ThreadsAreRememberedPerAgentForFourHours) {
    Record r;
    session->setAgent(VantleAgent::lirra);
    session->ask("Hello", {}, std::nullopt, r.handlers());
    ASSERT_TRUE(spinUntil([&] { return r.answer() != nullptr; }));
    const QString thread = *session->threadId;
    EXPECT_TRUE(Settings::contains(ChatSession::threadKey(VantleAgent::lirra)));
    EXPECT_TRUE(ChatSession::threadKey(VantleAgent::lirra).endsWith("/app.lirra"));

    session->setAgent(VantleAgent::dorn);
    EXPECT_FALSE(session->threadId) << "another agent, another conversation";
    session->setAgent(VantleAgent::lirra);
    scheduler->advance(3 * 3600 + 59 * 60);
    session->resumeRecentThread();
    EXPECT_EQ(session->threadId, thread) << "3 h 59 min: the thread goes on";
    scheduler->advance(60);
    session->resumeRecentThread();
    EXPECT_FALSE(session->threadId) << "4 h exactly: too old";

    ChatSession::remember("t-dorn", VantleAgent::dorn);
    ChatSession::remember("t-lirra", VantleAgent::lirra);
    session->reset();
    EXPECT_FALSE(Settings::contains(ChatSession::threadKey(VantleAgent::lirra)));
    EXPECT_EQ(ChatSession::recentThread(VantleAgent::dorn), QStringLiteral("t-dorn"))
        << "only its own record goes";

    Settings::setValue(ChatSession::threadKey(VantleAgent::morvo),
                       QVariantMap{{"id", "t"}, {"used", 1700000000.0}});
    EXPECT_FALSE(ChatSession::recentThread(VantleAgent::morvo)) << "a date that is a number is no date";
}
