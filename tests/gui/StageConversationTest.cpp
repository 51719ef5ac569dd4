#include "app/Settings.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterWindow.h"
#include "stage/BalloonView.h"
#include "stage/MessageText.h"
#include "stage/StageViewController.h"
#include "support/CharacterFixture.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "workspace/VantleEvents.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>

namespace {

class StageConversationTest : public WorkspaceFixture {
protected:
    void SetUp() override {
        WorkspaceFixture::SetUp();
        if (IsSkipped()) {
            return;
        }
        // Characters that have the animations the conversation asks for, one cell each.
        for (const char* id : {"dorn", "lirra", "morvo", "pelka"}) {
            auto d = CharacterFixture::definition(id, 4, 3, 25);
            auto animations = d.value("animations").toObject();
            animations.remove("Empty");
            for (const char* name : {"Greeting", "Thinking", "CheckingSchedule", "Searching", "Explain",
                                     "GetAttention", "SendMail", "Stressed", "WritingProposal"}) {
                animations.insert(name, QJsonArray{QJsonObject{{"cell", 1}, {"ms", 200}},
                                                   QJsonObject{{"cell", 2}, {"ms", 200}}});
            }
            d.insert("animations", animations);
            characters.add(id, d);
        }
        characters.activate();
        VantleEvents::shared().start();
        ASSERT_TRUE(
            spinUntil([] { return VantleEvents::shared().state() == VantleEvents::State::streaming; }));
        stage = std::make_unique<StageViewController>();
        window = std::make_unique<CharacterWindow>();
        window->setContentView(&stage->view());
        window->setGeometry(QRect(300, 300, 100, 75));
        window->makeKeyAndOrderFront();
        stage->speaker = [this](const QString& text) { spoken << text; };
        run(1.0);
    }
    void TearDown() override {
        if (stage) {
            stage->closeChat();
        }
        stage.reset();
        window.reset();
        WorkspaceFixture::TearDown();
    }
    // Lets real events and virtual time run together, virtual time ten times as fast, noting
    // each animation as it starts.
    void run(double seconds) {
        for (double t = 0; t < seconds; t += 0.05) {
            spinFor(5);
            scheduler->advance(0.05);
            const QString now = stage->player().currentAnimation();
            if (!now.isEmpty() && (played.isEmpty() || played.last() != now)) {
                played << now;
            }
        }
    }
    bool runUntil(const std::function<bool()>& condition, double limit = 30) {
        for (double t = 0; t < limit; t += 0.05) {
            if (condition()) {
                return true;
            }
            run(0.05);
        }
        return condition();
    }
    BalloonView& balloon() { return stage->balloonPanel->balloon(); }

    CharacterFixture characters;
    std::unique_ptr<StageViewController> stage;
    std::unique_ptr<CharacterWindow> window;
    QStringList played;
    QStringList spoken;
};

QJsonObject step(const char* kind, QJsonObject fields, int afterMs) {
    fields.insert("kind", kind);
    fields.insert("after_ms", afterMs);
    return fields;
}

} // namespace

TEST(StageTools, TheToolTableMatchesLowercasedNamesRowByRow) {
    EXPECT_EQ(StageViewController::animations("Get_Schedule").first(), QStringLiteral("CheckingSchedule"));
    EXPECT_EQ(StageViewController::animations("email_draft").first(), QStringLiteral("SendMail"))
        << "mail before draft";
    EXPECT_EQ(StageViewController::animations("create_proposal").first(), QStringLiteral("WritingProposal"));
    EXPECT_EQ(StageViewController::animations("get_schedule_x").first(), QStringLiteral("Searching"))
        << "an exact row wants the whole name";
    EXPECT_EQ(StageViewController::animations("consult_lawyer").first(), QStringLiteral("CoordinatingCover"));
    EXPECT_EQ(StageViewController::animations("zzz"), (QStringList{"Processing", "Process", "Thinking"}));
}

TEST_F(StageConversationTest, AQuestionIsActedOutAnsweredAndSpokenOnce) {
    Settings::setValue(QLatin1String(Settings::Key::speakAnswers), true);
    stage->openChat(true);
    ASSERT_TRUE(stage->balloonPanel);
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Ask Dorn…"));
    sim->control("POST", "/sim/turns",
                 QJsonObject{{"steps", QJsonArray{step("tool", {{"tool", "Get_Schedule"}}, 300),
                                                  step("tool", {{"tool", "get_absences"}}, 300),
                                                  step("delta", {{"text", "Your week"}, {"offset", 0}}, 300),
                                                  step("tool", {{"tool", "search_documents"}}, 300),
                                                  step("done", {{"text", "Your week is calm."}}, 100)}},
                             {"reply", QJsonObject{{"reply", "Your week is calm. See [plan](/plans/1)"}}}});
    balloon().onSubmit(QStringLiteral("How is my week?"));
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
    run(2);
    EXPECT_EQ(played.count("CheckingSchedule"), 1) << played.join(',').toStdString();
    EXPECT_FALSE(played.contains("Searching")) << "a tool after the first text changes nothing";
    EXPECT_TRUE(played.contains("Thinking"));
    EXPECT_LT(played.indexOf("Thinking"), played.indexOf("CheckingSchedule"));
    EXPECT_EQ(spoken, QStringList{"Your week is calm. See plan"}) << "spoken at completion only";
    EXPECT_EQ(balloon().linkRows().size(), 1);

    // The turn went out with the question as asked.
    const auto turns = sim->requests();
    QByteArray body;
    for (const auto& r : turns) {
        if (r.toObject().value("path").toString().endsWith("/turn")) {
            body = QByteArray::fromBase64(r.toObject().value("body_base64").toString().toLatin1());
        }
    }
    EXPECT_TRUE(body.startsWith(R"({"message":"How is my week?","turnId":"desktop_)")) << body.toStdString();
}

TEST_F(StageConversationTest, DroppedDocumentsGoWithOneQuestionAndErrorsShowInTheBalloon) {
    stage->openChat(false);
    stage->droppedDocuments = {VantleDocument{"doc-7", "Plan.pdf", "Inbox", std::nullopt}};
    stage->send("Read this", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
    stage->send("And again", std::nullopt);
    ASSERT_TRUE(runUntil([&] {
        return countOf("POST", "/api/chat/threads") == 1 && balloon().status() == BalloonStatus::success;
    }));
    run(0.5);
    QList<QByteArray> bodies;
    for (const auto& r : sim->requests()) {
        if (r.toObject().value("path").toString().endsWith("/turn")) {
            bodies << QByteArray::fromBase64(r.toObject().value("body_base64").toString().toLatin1());
        }
    }
    ASSERT_EQ(bodies.size(), 2);
    EXPECT_TRUE(bodies.at(0).contains(R"("attachmentIds":["doc-7"])"));
    EXPECT_FALSE(bodies.at(1).contains("attachmentIds"));

    // A failing turn: the error's text, and the next question works.
    fault(QStringLiteral("/api/chat/threads/*"), {{"status", 429}});
    stage->send("Busy?", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::failure; }));
    EXPECT_EQ(balloon().messageLabel()->message(),
              QStringLiteral("Vantle is busy; try again in a moment."));
    run(2);
    EXPECT_TRUE(played.contains("Stressed"));
    stage->send("Now?", std::nullopt);
    EXPECT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
}

TEST_F(StageConversationTest, NoticesCloseThemselvesUnlessTurnedToAndLateResultsAreDropped) {
    stage->closeChat(); // nothing open: harmless
    bool clicked = false;
    stage->notify("Timer still running", std::nullopt, 6, QStringLiteral("Stop it ›"), std::nullopt,
                  BalloonStatus::notice, [&] { clicked = true; });
    ASSERT_TRUE(stage->balloonPanel);
    EXPECT_FALSE(balloon().isInputShown());
    EXPECT_FALSE(stage->balloonPanel->isActiveWindow()) << "a notice does not take the keyboard";
    scheduler->advance(6);
    spinFor(20);
    EXPECT_FALSE(stage->balloonPanel) << "closed by itself";
    EXPECT_FALSE(clicked);

    stage->notify("Hint without action", std::nullopt, 0, QStringLiteral("Never shown"), std::nullopt,
                  BalloonStatus::notice, nullptr);
    EXPECT_TRUE(balloon().hintLabel()->isHidden());

    // A notice the user turns to stays.
    stage->notify("Read me", std::nullopt, 6, std::nullopt, std::nullopt, BalloonStatus::notice, [] {});
    stage->balloonPanel->onBecomeKey();
    scheduler->advance(10);
    spinFor(20);
    EXPECT_TRUE(stage->balloonPanel);

    // A question whose balloon closes before the answer: the answer finds nothing to change.
    stage->openChat(false);
    sim->control("POST", "/sim/turns", QJsonObject{{"steps", QJsonArray{}}, {"reply_after_ms", 300}});
    stage->send("Slow", std::nullopt);
    stage->closeChat();
    run(1.5);
    EXPECT_FALSE(stage->balloonPanel);
}
