#include "app/Settings.h"
#include "character/CharacterPlayer.h"
#include "stage/BalloonPanel.h"
#include "stage/BalloonSurface.h"
#include "stage/MessageText.h"
#include "stage/PillButton.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "workspace/VantleClient.h"

#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

namespace {

class StageNotificationsTest : public StageFixture {
protected:
    bool shows(const QString& text) {
        return runUntil([&] { return stage->balloonPanel && message() == text; });
    }
    void useLanguage(const char* language) {
        Settings::setValue(QLatin1String(Settings::Key::language), QString::fromLatin1(language));
    }
    int readMarks(const QString& id) const {
        return countOf("POST", QStringLiteral("/api/notifications/%1/read").arg(id));
    }
};

VantleNotification notification(const QString& agentId, const QString& title, const QString& message,
                                const QString& tone = QStringLiteral("info")) {
    VantleNotification n;
    n.id = QStringLiteral("n-") + title;
    n.agentId = agentId.isEmpty() ? std::nullopt : std::optional(agentId);
    n.title = title;
    n.message = message;
    n.tone = tone;
    return n;
}

} // namespace

TEST_F(StageNotificationsTest, EachNotificationIsSaidByItsAgentOrByWhoeverStands) {
    stage->bringOn("lirra");
    ASSERT_TRUE(runUntil([&] { return stage->vantleAgent() == VantleAgent::lirra && !stage->handOver; }));

    // A colleague wrote: Dorn comes on to say it; the place keeps its own arrows.
    const QString colleague = push({{"agentId", "person"},
                                    {"title", "Tõnu Kask → Harbour → Pärnu"},
                                    {"message", "Look at the estimate"}});
    ASSERT_TRUE(shows("\u201CLook at the estimate\u201D"));
    EXPECT_EQ(stage->vantleAgent(), VantleAgent::dorn);
    EXPECT_EQ(balloon().title(), QStringLiteral("Tõnu Kask wrote in Harbour → Pärnu"));
    EXPECT_EQ(hint(), QStringLiteral("Open in Vantle ›"));
    EXPECT_FALSE(balloon().isInputShown());

    // An agent id in capitals is that agent, who comes on and says it under the plain title.
    push({{"agentId", "MORVO"}, {"title", "Proposal opened"}, {"message", "The client read it twice."}});
    ASSERT_TRUE(shows("The client read it twice."));
    EXPECT_EQ(stage->vantleAgent(), VantleAgent::morvo);
    EXPECT_EQ(balloon().title(), QStringLiteral("Proposal opened"));
    EXPECT_EQ(hint(), QStringLiteral("Click to reply ›"));

    // Pelka isn't installed: the one on stage says it and names her.
    push({{"agentId", "pelka"},
          {"title", "Timesheet gap"},
          {"message", "Tuesday has 2 hours."},
          {"tone", "error"}});
    ASSERT_TRUE(shows("Tuesday has 2 hours."));
    EXPECT_EQ(stage->vantleAgent(), VantleAgent::morvo);
    EXPECT_EQ(balloon().title(), QStringLiteral("Pelka · Timesheet gap"));
    EXPECT_EQ(hint(), QStringLiteral("Click to reply ›"));
    EXPECT_EQ(balloon().status(), BalloonStatus::warning);

    // "Person" with a capital letter is nobody known: plain, title and body alike.
    push({{"agentId", "Person"}, {"title", "Backup finished"}});
    ASSERT_TRUE(shows("Backup finished"));
    EXPECT_EQ(balloon().title(), QStringLiteral("Backup finished"));
    EXPECT_EQ(hint(), QStringLiteral("Click to open in Vantle ›"));

    // The user opens the chat between the change of figure and its arrival: it waits.
    scheduler->advance(13);
    push({{"agentId", "lirra"}, {"title", "Mari answered"}, {"message", "Paid on Friday"}});
    ASSERT_TRUE(runUntil([&] { return stage->player().sheet()->definition.id == QStringLiteral("lirra"); }));
    ASSERT_TRUE(stage->handOver == std::nullopt);
    stage->openChat(true);
    ASSERT_TRUE(spinUntil([&] { return stage->balloonPanel->isActiveWindow(); }));
    run(2);
    EXPECT_EQ(message(), QStringLiteral("Hi, Lirra here. What can I help you with?"));
    EXPECT_TRUE(balloon().isInputShown());

    // While the chat is open, a notification waits too; both come once it closes, oldest first.
    push({{"agentId", "lirra"}, {"title", "Another"}});
    run(2);
    EXPECT_EQ(message(), QStringLiteral("Hi, Lirra here. What can I help you with?"));
    EXPECT_EQ(stage->waitingCount(), 2);
    stage->closeChat();
    ASSERT_TRUE(shows("Paid on Friday"));
    EXPECT_EQ(stage->waitingCount(), 1);
    ASSERT_TRUE(shows("Another"));
    EXPECT_EQ(stage->waitingCount(), 0);
    EXPECT_EQ(readMarks(colleague), 0) << "shown is not read";
}

TEST_F(StageNotificationsTest, ToneAndHintTablesInBothLanguages) {
    struct Row {
        VantleNotification n;
        const char* animation;
        BalloonStatus status;
        const char* title;
        const char* body;
        const char* hint[2];
    };
    const Row rows[] = {
        {notification("dorn", "Board report", "Health 72", "warning"),
         "Alert",
         BalloonStatus::warning,
         "Board report",
         "Health 72",
         {"Click to reply ›", "Vasta ›"}},
        {notification("Dorn", "Same words", "Same words", "error"),
         "Alert",
         BalloonStatus::warning,
         "Dorn",
         "Same words",
         {"Click to reply ›", "Vasta ›"}},
        {notification("", "Server note", "", "Warning"),
         "GetAttention",
         BalloonStatus::notice,
         "Server note",
         "Server note",
         {"Click to open in Vantle ›", "Ava Vantles ›"}},
        {notification("ghost", "Hello", "Body", "success"),
         "GetAttention",
         BalloonStatus::notice,
         "Hello",
         "Body",
         {"Click to open in Vantle ›", "Ava Vantles ›"}},
    };
    for (const int language : {0, 1}) {
        useLanguage(language == 0 ? "en" : "et");
        for (const auto& row : rows) {
            SCOPED_TRACE(row.n.title.toStdString() + (language == 0 ? " en" : " et"));
            stage->closeChat();
            stage->showVantleNotification(row.n);
            ASSERT_TRUE(stage->balloonPanel);
            EXPECT_EQ(stage->player().currentAnimation(), QString::fromUtf8(row.animation));
            EXPECT_EQ(balloon().status(), row.status);
            EXPECT_EQ(balloon().title(), QString::fromUtf8(row.title));
            EXPECT_EQ(message(), QString::fromUtf8(row.body));
            EXPECT_EQ(hint(), QString::fromUtf8(row.hint[language]));
            EXPECT_FALSE(stage->balloonPanel->isActiveWindow()) << "a notice leaves the keyboard alone";
        }
    }

    // Colleagues in Estonian: the other quotes, the other headlines, and a body of the headline
    // where the message is empty.
    stage->closeChat();
    stage->showVantleNotification(notification("person", "Tõnu Kask → Ehitus", "Vaata"));
    EXPECT_EQ(balloon().title(), QStringLiteral("Tõnu Kask kirjutas vestlusesse Ehitus"));
    EXPECT_EQ(message(), QStringLiteral("\u201EVaata\u201D"));
    EXPECT_EQ(hint(), QStringLiteral("Ava Vantles ›"));
    stage->closeChat();
    stage->showVantleNotification(notification("person", "Tõnu Kask", ""));
    EXPECT_EQ(balloon().title(), QStringLiteral("Tõnu Kask saatis sulle sõnumi"));
    EXPECT_EQ(message(), QStringLiteral("Tõnu Kask saatis sulle sõnumi"));
    useLanguage("en");
    stage->closeChat();
    stage->showVantleNotification(notification("person", "Tõnu Kask", ""));
    EXPECT_EQ(message(), QStringLiteral("Tõnu Kask sent you a message"));
}

TEST_F(StageNotificationsTest, AClickMarksReadAndTheNextQuestionGoesToTheNotificationsThread) {
    const QString id =
        push({{"agentId", "dorn"},
              {"title", "Invoice overdue"},
              {"message", "Mäe Ehitus is 34 days late."},
              {"thread_messages",
               QJsonArray{QJsonObject{{"authorType", "user"}, {"text", "Remind them"}},
                          QJsonObject{{"authorType", "agent"},
                                      {"text", "I drafted a reminder: [draft](/drafts/1)"},
                                      {"meta", QJsonObject{{"options", QJsonArray{"Send it"}}}}}}}});
    ASSERT_TRUE(shows("Mäe Ehitus is 34 days late."));
    run(1);
    EXPECT_EQ(readMarks(id), 0);

    played.clear();
    balloon().onMessageClick();
    ASSERT_TRUE(stage->balloonPanel) << "the click opens the reply";
    EXPECT_TRUE(balloon().isInputShown());
    EXPECT_EQ(balloon().status(), BalloonStatus::working);
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Reply to Dorn…"));
    EXPECT_EQ(stage->player().currentAnimation(), QStringLiteral("Thinking"));
    ASSERT_TRUE(shows("I drafted a reminder: draft"));
    EXPECT_EQ(balloon().linkRows().size(), 1);
    ASSERT_EQ(balloon().choices().size(), 1);
    EXPECT_EQ(balloon().choices().at(0).label, QStringLiteral("Send it"));
    EXPECT_TRUE(spinUntil([&] { return balloon().input()->hasFocus(); })) << "ready for the reply";
    EXPECT_TRUE(runUntil([&] { return readMarks(id) == 1; }));
    run(1);
    EXPECT_NE(stage->player().currentAnimation(), QStringLiteral("Thinking")) << "the loop has ended";

    // The reply goes to the notification's thread; no new thread is made.
    const auto thread = stage->chatSession.threadId;
    ASSERT_TRUE(thread);
    balloon().onSubmit(QStringLiteral("Send it now"));
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
    EXPECT_EQ(countOf("POST", QStringLiteral("/api/chat/threads/%1/turn").arg(*thread)), 1);
    EXPECT_EQ(countOf("POST", "/api/chat/threads"), 0);

    // Pelka can't come on: the click still tries, and the reply opens in her name, in Estonian,
    // without the thinking loop of the one on stage.
    stage->closeChat();
    useLanguage("et");
    push({{"agentId", "pelka"}, {"title", "Puudu"}, {"message", "Teisipäev on tühi."}});
    ASSERT_TRUE(shows("Teisipäev on tühi."));
    played.clear();
    balloon().onMessageClick();
    EXPECT_EQ(balloon().title(), QStringLiteral("Pelka"));
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Vasta Pelkale…"));
    ASSERT_TRUE(shows("Teisipäev on tühi."));
    EXPECT_FALSE(played.contains("Thinking"));

    // A thread that can't be fetched shows the error in the balloon.
    stage->closeChat();
    fault("/api/chat/threads/from-notification/*",
          {{"status", 500}, {"json", QJsonObject{{"detail", "Down"}}}});
    push({{"agentId", "dorn"}, {"title", "Fails"}, {"message", "Click me"}});
    ASSERT_TRUE(shows("Click me"));
    balloon().onMessageClick();
    ASSERT_TRUE(shows("Vantle: Down"));
    EXPECT_EQ(balloon().status(), BalloonStatus::failure);
}

TEST_F(StageNotificationsTest, ANoticeHasItsReadingTimeAndWhatWaitsComesInTurnUntilReadElsewhere) {
    const QString first = push({{"agentId", "dorn"}, {"title", "First"}, {"message", "One"}});
    ASSERT_TRUE(shows("One"));
    scheduler->advance(1);
    const QString second = push({{"agentId", "dorn"}, {"title", "Second"}, {"message", "Two"}});
    const QString third = push({{"agentId", "dorn"}, {"title", "Third"}, {"message", "Three"}});
    run(2);
    EXPECT_EQ(message(), QStringLiteral("One")) << "a fresh notice is not covered at once";
    EXPECT_EQ(stage->waitingCount(), 2);

    // Read in the workspace meanwhile: the second no longer waits.
    const QString token = sim->exchangeToken();
    EXPECT_EQ(sim->call("POST", QStringLiteral("/api/notifications/%1/read").arg(second), token).status, 200);
    ASSERT_TRUE(runUntil([&] { return stage->waitingCount() == 1; }));
    ASSERT_TRUE(shows("Three")) << "after its reading time the next waiting one takes the place";
    scheduler->advance(29);
    spinFor(20);
    EXPECT_EQ(message(), QStringLiteral("Three")) << "the first one's timer is gone";
    scheduler->advance(1.5);
    spinFor(20);
    EXPECT_FALSE(stage->balloonPanel);
    EXPECT_EQ(readMarks(first) + readMarks(third), 0) << "unclicked, both stay unread";

    // Busy with uploads, a dialogue or a figure on its way: it waits as well.
    stage->isReceivingFiles = true;
    push({{"agentId", "dorn"}, {"title", "During uploads"}});
    run(1);
    EXPECT_FALSE(stage->balloonPanel);
    stage->isReceivingFiles = false;
    stage->say(QStringLiteral("Saved 1 file."));
    EXPECT_EQ(message(), QStringLiteral("Saved 1 file.")) << "the upload's result comes first";
    ASSERT_TRUE(shows("During uploads")) << "and the notice after it, not lost";
    stage->closeChat();

    // Bad input: no title gives no notice; a title that is only the arrow still closes by itself.
    const QJsonObject untitled{{"id", "x"}, {"agentId", "dorn"}};
    const QJsonObject created{{"type", "notification.created"}, {"data", untitled}};
    sim->control("POST", "/sim/events", QJsonObject{{"event", "vantle.event"}, {"data", created}});
    run(1);
    EXPECT_FALSE(stage->balloonPanel);
    push({{"agentId", "person"}, {"title", " → "}});
    ASSERT_TRUE(shows(" wrote in "));
    scheduler->advance(30);
    run(1);
    EXPECT_FALSE(stage->balloonPanel);
    const auto running = stage->player().currentRun();
    EXPECT_TRUE(!running || !running->loops) << "no animation left looping";
}

// Notices in a burst from every kind of sender, while agents change places and the user opens the
// chat, sends an agent on and clicks notices away: each one is said exactly once, none is lost.
TEST_F(StageNotificationsTest, ABurstAmidHandOversAndTheUsersStepsSaysEachNoticeOnce) {
    const QStringList senders{"dorn", "lirra", "morvo", "pelka", "person", "nobody"};
    const QStringList figures{"dorn", "lirra", "morvo"};
    constexpr int count = 18;
    QList<int> said(count, 0);
    QString onShow;
    // Every 50 ms of virtual time: a notice coming into the balloon counts once.
    const auto watch = [&] {
        const QString now = message();
        if (now != onShow) {
            onShow = now;
            for (int k = 0; k < count; ++k) {
                said[k] += now.contains(QStringLiteral("Walk note %1.").arg(k)) ? 1 : 0;
            }
        }
    };
    const auto step = [&](double seconds) { runUntil([&] { return watch(), false; }, seconds); };
    QRandomGenerator random(20261127);
    for (int k = 0; k < count; ++k) {
        const QString sender = senders.at(k % senders.size());
        push({{"agentId", sender},
              {"title", sender == "person" ? QStringLiteral("Mari → Harbour") : QStringLiteral("Walk")},
              {"message", QStringLiteral("Walk note %1.").arg(k)}});
        step(0.05 * random.bounded(1, 20));
        switch (random.bounded(5)) {
        case 0: // clicked away
            if (stage->balloonPanel) {
                balloon().onClose();
            }
            break;
        case 1: // the chat opened for a moment, perhaps while an agent is on its way
            stage->openChat(true);
            ASSERT_TRUE(spinUntil([&] { return stage->balloonPanel->isActiveWindow(); }));
            step(0.05 * random.bounded(1, 20));
            stage->closeChat();
            break;
        case 2: // a shortcut sends another agent on
            stage->bringOn(figures.at(random.bounded(figures.size())));
            break;
        default:
            break;
        }
        step(0.1);
    }
    // The user clicks each one away as it comes, until none waits.
    for (int round = 0; round < 10 * count && (stage->waitingCount() > 0 || stage->balloonPanel); ++round) {
        step(0.3);
        if (stage->balloonPanel && !stage->handOver) {
            balloon().onClose();
        }
    }
    step(1);
    EXPECT_EQ(said, QList<int>(count, 1)) << "by the order they were sent, how often each was said";
    EXPECT_EQ(stage->waitingCount(), 0);
}

TEST_F(StageNotificationsTest, LinksOfNoticesOpenDocumentsAndOnlyRevealWhatWouldRun) {
    QTemporaryDir dir;
    const auto write = [&](const QString& name, const QByteArray& content, bool executable) {
        QFile f(dir.filePath(name));
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(content);
        f.close();
        if (executable) {
            f.setPermissions(f.permissions() | QFile::ExeOwner);
        }
        return QUrl::fromLocalFile(dir.filePath(name));
    };
    const QUrl pdf = write("Report.pdf", "%PDF-1.4\n%\xe2\xe3\xcf\xd3\n1 0 obj\n<<>>\nendobj\n", false);
    const QUrl script = write("tidy.sh", "#!/bin/sh\nrm -rf \"$HOME\"\n", true);
    const QUrl disguised = write("Invoice.pdf", "#!/bin/sh\necho hi\n", false);
    const QUrl launcher =
        write("Open.desktop", "[Desktop Entry]\nType=Application\nExec=xterm\nName=x\n", false);
    QDir(dir.path()).mkdir("Folder");
    const QUrl folder = QUrl::fromLocalFile(dir.filePath("Folder"));

    enum Outcome { opened, revealed, nothing };
    const std::tuple<QUrl, Outcome, QString> rows[] = {
        {pdf, opened, "Report.pdf"},
        {QUrl("https://example.com/a?b=1"), opened, "example.com"},
        {script, revealed, "tidy.sh"},
        {disguised, revealed, "Invoice.pdf"},
        {launcher, revealed, "Open.desktop"},
        {folder, revealed, "Folder"},
        {QUrl("javascript:alert(1)"), nothing, "javascript:alert(1)"},
        {QUrl("smb://server/share/a.pdf"), nothing, "server"},
        {QUrl("ftp://ftp.example/f.pdf"), nothing, "ftp.example"},
        {QUrl("file://elsewhere/etc/hosts"), nothing, "hosts"},
    };
    for (const auto& [url, outcome, label] : rows) {
        SCOPED_TRACE(url.toString().toStdString());
        services.desktop->opened.clear();
        services.desktop->revealed.clear();
        stage->notify("Look", std::nullopt, 0, url);
        EXPECT_EQ(hint(), QStringLiteral("Click to open ") + label + QStringLiteral(" ›"));
        balloon().onMessageClick();
        EXPECT_FALSE(stage->balloonPanel) << "the click closes the notice";
        EXPECT_EQ(services.desktop->opened, outcome == opened ? QList<QUrl>{url} : QList<QUrl>{});
        EXPECT_EQ(services.desktop->revealed,
                  outcome == revealed ? QStringList{url.toLocalFile()} : QStringList{});
    }
}

TEST_F(StageNotificationsTest, AnApprovalIsDecidedInTheBalloonAndTheAgentSaysWhatComesNext) {
    fault("/api/approvals/ap-1", {{"action", "delay"}, {"delay_ms", 400}});
    const QString id = pushApproval({{"id", "ap-1"},
                                     {"agent", "Dorn"},
                                     {"action", "Send the proposal to the client"},
                                     {"rationale", "  The client asked by Friday.  "},
                                     {"payload", "18 400 € + VAT"},
                                     {"reversible", false}});
    ASSERT_TRUE(shows("Send the proposal to the client")) << "the notice first, while the approval comes";
    EXPECT_EQ(balloon().status(), BalloonStatus::working);
    EXPECT_EQ(balloon().title(), QStringLiteral("Approval needed"));
    EXPECT_FALSE(balloon().isInputShown());
    ASSERT_TRUE(runUntil([&] { return balloon().isDeciding(); }));
    EXPECT_EQ(hint(), QStringLiteral("Once approved, this can't be undone."));
    EXPECT_TRUE(balloon().detailLabel()->text().startsWith(QStringLiteral("The client asked by Friday.")));
    EXPECT_FALSE(stage->balloonPanel->isActiveWindow()) << "the user's focus stays where it was";
    scheduler->advance(60);
    EXPECT_TRUE(balloon().isDeciding()) << "a decision waits for as long as the user leaves it";

    balloon().input()->setText(QStringLiteral("  Go ahead  "));
    balloon().approveButton()->click();
    EXPECT_FALSE(balloon().approveButton()->isEnabled());
    balloon().approveButton()->click();
    balloon().declineButton()->click();
    EXPECT_EQ(balloon().status(), BalloonStatus::working);
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::success; }));
    EXPECT_EQ(message(), QStringLiteral("Approved. Dorn takes it from here."));
    EXPECT_EQ(balloon().title(), QStringLiteral("Approved"));
    EXPECT_FALSE(balloon().isInputShown());
    EXPECT_EQ(bodiesTo("/api/approvals/ap-1/approve"), QList<QByteArray>{R"({"decisionNote":"Go ahead"})"})
        << "one decision, however often the buttons were pressed";
    EXPECT_TRUE(bodiesTo("/api/approvals/ap-1/reject").isEmpty());
    EXPECT_EQ(readMarks(id), 1);
    scheduler->advance(5.1);
    spinFor(20);
    EXPECT_FALSE(stage->balloonPanel);
}

TEST_F(StageNotificationsTest, DeclineReviewAndARefusalThatCanBeTriedAgain) {
    // The other link form, no agent name and no detail: the one on stage names itself.
    sim->control("POST", "/sim/approvals",
                 QJsonObject{{"id", "ap-2"},
                             {"agent", ""},
                             {"action", "Pay the invoice"},
                             {"notification", QJsonObject{{"to", "/approvals?approvalId=ap-2"}}}});
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && balloon().isDeciding(); }));
    EXPECT_EQ(hint(), QString()) << "reversible: no warning";
    EXPECT_FALSE(balloon().detailLabel()->isVisibleTo(stage->balloonPanel));

    fault("/api/approvals/ap-2/reject",
          {{"status", 403}, {"json", QJsonObject{{"detail", "Managers only."}}}});
    balloon().input()->setText(QStringLiteral("Too expensive"));
    balloon().declineButton()->click();
    ASSERT_TRUE(runUntil([&] { return balloon().status() == BalloonStatus::failure; }));
    EXPECT_EQ(hint(), QStringLiteral("Managers only."));
    EXPECT_TRUE(balloon().declineButton()->isEnabled());
    EXPECT_EQ(balloon().input()->text(), QStringLiteral("Too expensive")) << "the comment stays";
    balloon().declineButton()->click();
    ASSERT_TRUE(shows("Declined. Dorn has your comment."));
    EXPECT_EQ(balloon().status(), BalloonStatus::none) << "a rejection carries no green check";
    EXPECT_EQ(balloon().title(), QStringLiteral("Declined"));
    EXPECT_EQ(bodiesTo("/api/approvals/ap-2/reject").size(), 2);

    // Declined without a word, in Estonian.
    useLanguage("et");
    pushApproval({{"id", "ap-3"}, {"agent", "Dorn"}});
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && balloon().isDeciding(); }));
    balloon().declineButton()->click();
    ASSERT_TRUE(shows("Tagasi lükatud."));
    EXPECT_EQ(balloon().title(), QStringLiteral("Tagasi lükatud"));
    EXPECT_EQ(bodiesTo("/api/approvals/ap-3/reject"), QList<QByteArray>{"{}"});

    // Review opens the workspace's page, marks read and closes; nothing is decided.
    const QString id = pushApproval({{"id", "ap-4"}, {"agent", "Dorn"}});
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && balloon().isDeciding(); }));
    balloon().reviewButton()->click();
    EXPECT_FALSE(stage->balloonPanel);
    EXPECT_EQ(services.desktop->opened,
              QList<QUrl>{*VantleClient::dashboardURL(QStringLiteral("/approvals?item=approval:ap-4"))});
    EXPECT_TRUE(runUntil([&] { return readMarks(id) == 1; }));
    EXPECT_EQ(countOf("POST", "/api/approvals/ap-4/approve") + countOf("POST", "/api/approvals/ap-4/reject"),
              0);
}

TEST_F(StageNotificationsTest, ApprovalsThatCannotBeDecidedFallBackAndLateAnswersAreDropped) {
    // This user may not decide: the plain notice, with no buttons.
    pushApproval({{"id", "ap-5"}, {"agent", "Dorn"}, {"canDecide", false}});
    ASSERT_TRUE(runUntil([&] { return hint() == QStringLiteral("Click to reply ›"); }));
    EXPECT_FALSE(balloon().isDeciding());
    EXPECT_FALSE(balloon().decisionRow()->isVisibleTo(stage->balloonPanel));

    // An approval that can't be read: the same.
    fault("/api/approvals/ap-6", {{"status", 200}, {"json", QJsonObject{{"agent", "Dorn"}}}});
    pushApproval({{"id", "ap-6"}, {"agent", "Dorn"}, {"action", "Unreadable"}});
    ASSERT_TRUE(
        runUntil([&] { return message() == "Unreadable" && balloon().status() == BalloonStatus::warning; }));
    EXPECT_EQ(hint(), QStringLiteral("Click to reply ›"));
    EXPECT_FALSE(balloon().isDeciding());

    // The user closes the balloon before the approval comes: it rests until the next free moment.
    fault("/api/approvals/ap-7", {{"action", "delay"}, {"delay_ms", 500}});
    pushApproval({{"id", "ap-7"}, {"agent", "Dorn"}, {"action", "Late"}});
    ASSERT_TRUE(shows("Late"));
    balloon().onClose();
    ASSERT_TRUE(answered("/api/approvals/ap-7"));
    run(1);
    EXPECT_FALSE(stage->balloonPanel);
    EXPECT_EQ(stage->waitingCount(), 1);

    // A newer notification finds the approval back first, and waits behind it.
    push({{"agentId", "dorn"}, {"title", "Newer"}});
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && balloon().isDeciding(); }));
    EXPECT_EQ(message(), QStringLiteral("Late"));
    run(20);
    EXPECT_TRUE(balloon().isDeciding());
    EXPECT_EQ(stage->waitingCount(), 1);
}

TEST_F(StageNotificationsTest, AnUndecidedApprovalStaysUntilDecidedHereOrInTheWorkspace) {
    pushApproval(
        {{"id", "ap-9"}, {"agent", "Dorn"}, {"action", "Pay 4 800 € to Mäe Ehitus"}, {"risk", "high"}});
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && balloon().isDeciding(); }));

    // No decision by accident: only the card and the input bar take clicks, the window's first
    // focus is the comment, a button holds the keyboard only when tabbed to, and Return in the
    // comment sends nothing.
    BalloonPanel& panel = *stage->balloonPanel;
    const QRegion taking = services.windowTraits->inputRegions.value(panel.windowHandle());
    const QRect card = balloon().card()->geometry().translated(balloon().pos());
    const QRect bar = balloon().inputSurface()->geometry().translated(balloon().pos());
    EXPECT_TRUE(taking.contains(card.center()));
    EXPECT_TRUE(taking.contains(bar.center()));
    EXPECT_FALSE(taking.contains(QPoint(bar.center().x(), (card.bottom() + bar.top()) / 2))) << "the strip";
    EXPECT_FALSE(taking.contains(QPoint(1, 1)));
    panel.makeKeyAndOrderFront();
    ASSERT_TRUE(spinUntil([&] { return panel.isActiveWindow(); }));
    EXPECT_EQ(QApplication::focusWidget(), balloon().input());
    balloon().approveButton()->setFocus(Qt::ActiveWindowFocusReason);
    EXPECT_EQ(QApplication::focusWidget(), balloon().input());
    balloon().approveButton()->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(QApplication::focusWidget(), balloon().approveButton()) << "tabbed there on purpose";
    balloon().input()->setFocus();
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("Not before Friday"));
    QTest::keyClick(balloon().input(), Qt::Key_Return);
    EXPECT_EQ(balloon().input()->text(), QStringLiteral("Not before Friday"));

    // A link's words, an upload's result and a newer notice all wait behind it.
    stage->say(QStringLiteral("From a link"));
    stage->notify(QStringLiteral("Saved 2 files."), std::nullopt, 10, std::nullopt, std::nullopt,
                  BalloonStatus::success, nullptr);
    push({{"agentId", "dorn"}, {"title", "Colleague"}, {"message", "Lunch?"}});
    run(3);
    EXPECT_TRUE(balloon().isDeciding());
    EXPECT_EQ(balloon().input()->text(), QStringLiteral("Not before Friday"));
    EXPECT_EQ(stage->waitingCount(), 3);

    // The user's own action takes the balloon: the comment stays with the approval.
    stage->openChat(true);
    EXPECT_FALSE(balloon().isDeciding());
    EXPECT_EQ(balloon().input()->text(), QString()) << "the comment never goes to the chat";
    EXPECT_EQ(stage->waitingCount(), 4);
    stage->closeChat();
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && balloon().isDeciding(); }))
        << "back once the balloon is free, before what came later";
    EXPECT_EQ(balloon().input()->text(), QStringLiteral("Not before Friday"));
    EXPECT_EQ(countOf("POST", "/api/chat/threads"), 0);
    EXPECT_EQ(countOf("POST", "/api/approvals/ap-9/approve") + countOf("POST", "/api/approvals/ap-9/reject"),
              0);

    // Decided in the workspace while it rests: it doesn't come back, and the rest follow in turn.
    balloon().onClose();
    const QString token = sim->exchangeToken();
    EXPECT_EQ(sim->call("POST", "/api/approvals/ap-9/approve", token, "{}").status, 200);
    ASSERT_TRUE(shows("From a link"));
    ASSERT_TRUE(shows("Saved 2 files."));
    ASSERT_TRUE(shows("Lunch?"));
    run(15);
    EXPECT_EQ(stage->waitingCount(), 1) << "the approval rests until the balloon is next free";
    EXPECT_FALSE(balloon().isDeciding());
    stage->closeChat();
    run(2);
    EXPECT_FALSE(stage->balloonPanel) << "decided elsewhere, it is not asked again";
    EXPECT_EQ(stage->waitingCount(), 0);
}
