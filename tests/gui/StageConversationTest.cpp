#include "app/AppEvents.h"
#include "app/Settings.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterWindow.h"
#include "stage/BalloonView.h"
#include "stage/MessageText.h"
#include "stage/PillButton.h"
#include "stage/StageViewController.h"
#include "support/CharacterFixture.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "workspace/Keychain.h"
#include "workspace/VantleEvents.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

namespace {

// The stage with Pelka as well, whom the conversation may hand a question to.
class StageConversationTest : public StageFixture {
protected:
    void SetUp() override {
        StageFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        characters.add("pelka", definition("pelka"));
        characters.activate();
    }
    // Whether the simulator has finished a turn with this answer: a thread holds it.
    bool simAnswered(const QString& text) const {
        for (const auto& thread : sim->control("GET", "/sim/state").toObject().value("threads").toArray()) {
            for (const auto& message : thread.toObject().value("messages").toArray()) {
                if (message.toObject().value("text").toString() == text) {
                    return true;
                }
            }
        }
        return false;
    }
};

// The body of every turn the simulator was sent, oldest first.
QList<QByteArray> turnBodies(const SimProcess& sim) {
    QList<QByteArray> bodies;
    for (const auto& r : sim.requests()) {
        if (r.toObject().value("path").toString().endsWith("/turn")) {
            bodies << SimProcess::bodyOf(r);
        }
    }
    return bodies;
}

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
    services.speech->calls.clear();
    balloon().onSubmit(QStringLiteral("How is my week?"));
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
    run(2);
    EXPECT_EQ(played.count("CheckingSchedule"), 1)
        << "two tools of one row: " << played.join(',').toStdString();
    EXPECT_FALSE(played.contains("Searching")) << "a tool after the first text changes nothing";
    EXPECT_TRUE(played.contains("Thinking"));
    EXPECT_LT(played.indexOf("Thinking"), played.indexOf("CheckingSchedule"));
    EXPECT_EQ(services.speech->calls, (QStringList{"stop", "stop", "say: Your week is calm. See plan"}))
        << "silence when asked, then the answer, spoken at completion only";
    EXPECT_EQ(balloon().linkRows().size(), 1);

    // The turn went out with the question as asked.
    const auto bodies = turnBodies(*sim);
    ASSERT_EQ(bodies.size(), 1);
    EXPECT_TRUE(bodies.at(0).startsWith(R"({"message":"How is my week?","turnId":"desktop_)"))
        << bodies.at(0).toStdString();

    // Whatever is being said stops first, also for a text that says nothing; muted, nothing.
    services.speech->calls.clear();
    stage->say(QString());
    stage->say(QStringLiteral("Hi"));
    EXPECT_EQ(services.speech->calls, (QStringList{"stop", "stop", "say: Hi"}));
    stage->player().isMuted = true;
    stage->say(QStringLiteral("Quiet"));
    EXPECT_EQ(services.speech->calls.size(), 3);
}

TEST_F(StageConversationTest, OfferedChoicesAreChipsAndAPickAsksWithItsRef) {
    stage->openChat(false);
    const QJsonArray offered{QJsonObject{{"label", "Book Friday"}, {"ref", "absence:fri"}},
                             QJsonObject{{"label", "Not now"}}};
    sim->control("POST", "/sim/turns",
                 QJsonObject{{"steps", QJsonArray{step("options", {{"options", offered}}, 100),
                                                  step("done", {{"text", "Shall I book it?"}}, 100)}}});
    stage->send("A day off", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return balloon().choiceButtons().size() == 2; }));
    EXPECT_EQ(balloon().status(), BalloonStatus::success) << "the choices come with the answer";
    auto chips = balloon().choiceButtons();
    EXPECT_EQ(chips[0]->kind(), PillButton::Kind::chip);
    EXPECT_EQ(chips[0]->text(), QStringLiteral("Book Friday"));
    EXPECT_EQ(chips[1]->text(), QStringLiteral("Not now"));

    ASSERT_TRUE(runUntil([&] { return chips[0]->isVisible() && chips[0]->width() > 0; }));
    QTest::mouseClick(chips[0], Qt::LeftButton);
    EXPECT_TRUE(balloon().choiceButtons().isEmpty()) << "the offer goes at once";
    EXPECT_EQ(balloon().messageLabel()->message(), QStringLiteral("Thinking…"));
    ASSERT_TRUE(runUntil([&] { return turnBodies(*sim).size() == 2; }));
    const QByteArray pick = turnBodies(*sim).at(1);
    EXPECT_TRUE(pick.contains(R"("message":"Book Friday")")) << pick.toStdString();
    EXPECT_TRUE(pick.contains(R"("choiceRef":"absence:fri")")) << pick.toStdString();

    // Only Pelka's answers may have moved the timer, so only they make it read again.
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
    run(1);
    EXPECT_EQ(countOf("GET", "/api/time/state"), 0);
    stage->bringOn("pelka");
    ASSERT_TRUE(runUntil([&] { return stage->vantleAgent() == VantleAgent::pelka && !stage->handOver; }));
    stage->openChat(false);
    stage->send("My hours", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return countOf("GET", "/api/time/state") == 1; }));
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
    const auto bodies = turnBodies(*sim);
    ASSERT_EQ(bodies.size(), 2);
    EXPECT_TRUE(bodies.at(0).contains(R"("attachmentIds":["doc-7"])"));
    EXPECT_FALSE(bodies.at(1).contains("attachmentIds"));

    // A failing turn: the error's text, and the next question works.
    fault(QStringLiteral("/api/chat/threads/*"), {{"status", 429}});
    stage->send("Busy?", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::failure; }));
    EXPECT_EQ(balloon().messageLabel()->message(), QStringLiteral("Vantle is busy; try again in a moment."));
    run(2);
    EXPECT_TRUE(played.contains("Stressed"));
    stage->send("Now?", std::nullopt);
    EXPECT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
}

TEST_F(StageConversationTest, WithoutADesktopKeyTheBalloonLeadsToSettingsInBothLanguages) {
    services.secretStore->secrets.clear();
    QList<bool> balloonGoneWhenSettingsOpened;
    QObject::connect(&AppEvents::shared(), &AppEvents::settingsRequested, stage.get(),
                     [&] { balloonGoneWhenSettingsOpened << stage->balloonPanel.isNull(); });
    stage->openChat(true);
    ASSERT_TRUE(stage->balloonPanel);
    EXPECT_EQ(balloon().messageLabel()->message(),
              QStringLiteral(
                  "Connect me to your Vantle workspace first: Personal settings → Connect desktop app."));
    EXPECT_EQ(balloon().status(), BalloonStatus::warning);
    EXPECT_EQ(balloon().hintLabel()->text(), QStringLiteral("Click to open Settings ›"));
    EXPECT_FALSE(balloon().hintLabel()->isHidden());
    EXPECT_FALSE(balloon().messageLabel()->isSelectable());
    EXPECT_TRUE(balloon().isClickable());
    EXPECT_FALSE(balloon().isInputShown());
    run(0.5);
    EXPECT_EQ(played.last(), QStringLiteral("GetAttention"));

    // A question on this road goes nowhere and leaves the way to settings in place.
    stage->send("Anyone?", std::nullopt);
    EXPECT_EQ(balloon().status(), BalloonStatus::warning);
    EXPECT_TRUE(turnBodies(*sim).isEmpty());

    // A click closes the balloon first, then opens settings.
    QTest::mouseClick(balloon().hintLabel(), Qt::LeftButton, {}, QPoint(4, 4));
    EXPECT_EQ(balloonGoneWhenSettingsOpened, QList<bool>{true});
    EXPECT_FALSE(stage->pendingAction);

    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    stage->openChat(false);
    EXPECT_EQ(
        balloon().messageLabel()->message(),
        QStringLiteral("Ühenda mind kõigepealt oma Vantle tööruumiga: Isiklikud seaded → Ühenda töölaua "
                       "agendid."));
    EXPECT_EQ(balloon().hintLabel()->text(), QStringLiteral("Ava seaded ›"));
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Küsi Dornilt…"));

    services.secretStore->secrets.insert(QLatin1String(Keychain::desktopKeyAccount), sim->desktopKey());
    stage->openChat(false);
    EXPECT_EQ(balloon().messageLabel()->message(), QStringLiteral("Tere! Siin Dorn. Millega saan aidata?"));
    stage->send("Tere", std::nullopt);
    EXPECT_EQ(balloon().messageLabel()->message(), QStringLiteral("Mõtlen…"));
    EXPECT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
}

TEST_F(StageConversationTest, NoticesCloseThemselvesUnlessTurnedTo) {
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
}

TEST_F(StageConversationTest, ALateResultNeverReachesTheBalloonThatFollows) {
    Settings::setValue(QLatin1String(Settings::Key::speakAnswers), true);
    const QJsonObject slow{{"steps", QJsonArray{step("tool", {{"tool", "send_email"}}, 400),
                                                step("delta", {{"text", "Late"}, {"offset", 0}}, 200),
                                                step("done", {{"text", "Late answer"}}, 100)}},
                           {"reply_after_ms", 100}};
    const auto untouched = [&](const QString& shown) {
        EXPECT_EQ(balloon().messageLabel()->message(), shown);
        EXPECT_EQ(balloon().status(), BalloonStatus::none);
        for (const char* acted : {"SendMail", "Explain", "GetAttention"}) {
            EXPECT_FALSE(played.contains(acted)) << acted << " in " << played.join(',').toStdString();
        }
        EXPECT_TRUE(services.speech->calls.filter("say").isEmpty());
    };

    // Closed: the question goes with the balloon, and a new one only greets.
    stage->openChat(false);
    sim->control("POST", "/sim/turns", slow);
    stage->send("Slow", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return !turnBodies(*sim).isEmpty(); }));
    stage->closeChat();
    EXPECT_FALSE(stage->chatSession.currentTurnId());
    stage->openChat(false);
    ASSERT_TRUE(runUntil([&] { return simAnswered("Late answer"); }));
    run(1);
    untouched(QStringLiteral("Hi, Dorn here. What can I help you with?"));

    // Replaced while the answer is still on its way, which the session then delivers.
    sim->control("POST", "/sim/turns", slow);
    stage->send("Slow again", std::nullopt);
    QPointer<BalloonPanel> asked = stage->balloonPanel;
    stage->balloonPanel = nullptr;
    stage->makeBalloon(false).balloon().showMessage("Another matter", true, std::nullopt, false,
                                                    BalloonStatus::none);
    played.clear();
    ASSERT_TRUE(runUntil([&] { return stage->chatSession.answeredTurnId().has_value(); }))
        << "the answer arrived";
    run(2);
    untouched(QStringLiteral("Another matter"));
    delete asked.data();
}
