#include "workspace/LinkCommands.h"
#include "app/AppDelegate.h"
#include "app/Settings.h"
#include "character/CharacterPlayer.h"
#include "stage/MessageText.h"
#include "support/LogCapture.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "workspace/Keychain.h"
#include "workspace/VantleEvents.h"

#include <QAbstractButton>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Links run against the stage of the fixture through an AppDelegate that holds it; the
// connect question is answered ahead with the button named in `answer`.
class LinkCommandsTest : public StageFixture {
protected:
    void SetUp() override {
        StageFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        app = std::make_unique<AppDelegate>();
        app->stage = stage.get();
        app->window = window.get();
        LinkCommands::runModal = [this](QMessageBox& box) -> QAbstractButton* {
            asked << box.informativeText();
            for (const auto* label : box.findChildren<QLabel*>()) {
                EXPECT_EQ(label->textFormat(), Qt::PlainText) << "a link's address is never markup";
            }
            buttons = QStringList{box.text()};
            for (auto* button : box.buttons()) {
                buttons << button->text();
            }
            buttons << "default: " + (box.defaultButton() ? box.defaultButton()->text() : QString());
            if (whileAsking) {
                whileAsking();
            }
            const auto all = box.buttons();
            const auto chosen =
                std::find_if(all.begin(), all.end(), [this](auto* b) { return b->text() == answer; });
            return chosen == all.end() ? nullptr : *chosen;
        };
    }
    void TearDown() override {
        LinkCommands::runModal = realModal;
        if (app) {
            // The fixture owns the stage and its window.
            app->stage = nullptr;
            app->window = nullptr;
            app.reset();
        }
        StageFixture::TearDown();
    }
    void open(const QString& link) { LinkCommands::run(QUrl(link), *app); }
    QString storedKey() const { return services.secretStore->secrets.value(Keychain::desktopKeyAccount); }
    QString storedAddress() const { return Settings::stringValue(QLatin1String(Settings::Key::vantleURL)); }
    int streams() const { return countOf("GET", "/api/events/stream"); }

    std::unique_ptr<AppDelegate> app;
    const std::function<QAbstractButton*(QMessageBox&)> realModal = LinkCommands::runModal;
    QString answer = QStringLiteral("Connect");
    QStringList asked;
    QStringList buttons;
    std::function<void()> whileAsking;
};

} // namespace

TEST_F(LinkCommandsTest, TheGrammarReachesEveryCommandAndAnythingElseOnlyLogs) {
    LogCapture log;
    open("MIRKVANTLE://SAY?text=a&text=b");
    ASSERT_TRUE(runUntil([&] { return message() == "b"; })) << "any case; the last of a repeated key wins";
    stage->closeChat();
    open("mirkvantle:///say?text=x");
    EXPECT_EQ(message(), "x") << "no host: the command comes from the path";
    stage->closeChat();
    open("mirkvantle://say");
    open("mirkvantle:say?text=");
    open("mirkvantle:say?Text=big");
    EXPECT_FALSE(stage->balloonPanel) << "no text, empty text and a key in another case say nothing";

    open("https://say?text=x");
    open("mirkvantle:dance?text=x");
    app->stage = nullptr;
    open("mirkvantle:waltz");
    open("mirkvantle:say?text=nobody");
    app->stage = stage.get();
    EXPECT_EQ(log.lines(), QStringList{"Unknown mirkvantle:// command: dance"})
        << "a wrong scheme is silent, and without a stage nothing runs";
    EXPECT_FALSE(stage->balloonPanel);

    open("mirkvantle:agent");
    open("mirkvantle:agent?name=Lirra");
    EXPECT_TRUE(runUntil([&] { return stage->vantleAgent() == VantleAgent::lirra && !stage->handOver; }));
    open("mirkvantle:hide");
    EXPECT_TRUE(runUntil([&] { return stage->player().isHidden; }));
    open("mirkvantle:show");
    EXPECT_TRUE(runUntil([&] { return !stage->player().isHidden && window->isVisible(); }));
    run(3);
    open("mirkvantle:animate?name=Alert");
    EXPECT_TRUE(runUntil([&] { return stage->player().currentAnimation() == "Alert"; }));
    run(3);
    played.clear();
    open("mirkvantle:play?animation=&name=Alert");
    run(1);
    EXPECT_FALSE(played.contains("Alert")) << "an empty animation is looked for as it stands";
    open("mirkvantle:chat");
    ASSERT_TRUE(stage->balloonPanel);
    EXPECT_TRUE(balloon().isInputShown());
}

TEST_F(LinkCommandsTest, NoticesLastAsToldAsksNeedAQuestionAndMovesCountFromTheTopLeft) {
    open("mirkvantle:notify?text=Ten&seconds=abc");
    run(9.5);
    EXPECT_EQ(message(), "Ten");
    run(1);
    EXPECT_FALSE(stage->balloonPanel) << "no number: ten seconds";
    for (const char* seconds : {"-1", "0", "1e300"}) {
        open(QStringLiteral("mirkvantle:notify?text=Stays&seconds=") + seconds);
        run(12);
        EXPECT_EQ(message(), "Stays") << seconds;
        stage->closeChat();
    }

    open("mirkvantle:notify?text=Web&url=https://example.com/a?b");
    EXPECT_EQ(hint(), "Click to open example.com ›");
    balloon().onMessageClick();
    EXPECT_EQ(services.desktop->opened, QList<QUrl>{QUrl("https://example.com/a?b")});
    open("mirkvantle:notify?text=File&url=file:///tmp/Plan%2520B.pdf");
    EXPECT_EQ(hint(), "Click to open Plan B.pdf ›");
    open("mirkvantle:notify?text=Plain");
    EXPECT_EQ(hint(), "");
    stage->closeChat();

    open("mirkvantle:ask?q=&text=Hello");
    EXPECT_FALSE(stage->balloonPanel) << "q stands, empty, and text doesn't count";
    // The question waits in the field; only the user's Return sends it.
    open("mirkvantle:ask?text=What%20is%20on%20today%3F");
    ASSERT_TRUE(stage->balloonPanel);
    QLineEdit* field = balloon().input();
    EXPECT_EQ(field->text(), "What is on today?");
    run(5);
    EXPECT_EQ(countOf("POST", "/api/chat/threads"), 0) << "nothing goes out by itself";
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(runUntil([&] { return countOf("POST", "/api/chat/threads") == 1; }));
    stage->closeChat();
    run(1);

    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const QRect before = window->geometry();
    open("mirkvantle:move?x=10");
    open("mirkvantle:move?x=10&y=%2020");
    open("mirkvantle:move?x=ten&y=20");
    run(4);
    EXPECT_EQ(window->geometry(), before);
    open("mirkvantle:move?x=40&y=30");
    EXPECT_TRUE(runUntil([&] { return window->geometry().topLeft() == screen.topLeft() + QPoint(40, 30); }))
        << "y counts downwards";
    open("mirkvantle:move?x=0&y=0");
    EXPECT_TRUE(runUntil([&] { return window->geometry().topLeft() == screen.topLeft(); }));
}

TEST_F(LinkCommandsTest, ConnectAsksNamingTheAddressAndStoresOnlyOnYes) {
    const QString key = storedKey();
    const QString address = storedAddress();
    for (const char* refused :
         {"http://example.com", "http://localhost.example.com", "http://127.0.0.1@example.com",
          "ftp://127.0.0.1", "file:///etc/passwd", "javascript:alert(1)", "https://"}) {
        open(QStringLiteral("mirkvantle:connect?key=new&url=") + QUrl::toPercentEncoding(refused));
    }
    open("mirkvantle:connect?url=https://example.com");
    open("mirkvantle:connect?key=%20%20");
    EXPECT_TRUE(asked.isEmpty()) << "refused addresses and missing keys get no question";

    // The account is named before anything is asked, and Cancel stands as the default.
    const QString account = "\n\nAccount: Kaia Tamm (kaia.tamm@northwind.example)";
    const int before = streams();
    answer = "Cancel";
    open("mirkvantle:connect?key=" + QUrl::toPercentEncoding(key));
    ASSERT_TRUE(runUntil([&] { return asked.size() == 1; }));
    EXPECT_EQ(asked.last(),
              "Mirk Vantle Agents will chat and show notifications as you in the workspace at " +
                  Settings::vantleURL()->toString() + "." + account);
    EXPECT_EQ(buttons, (QStringList{"Connect to Vantle?", "Connect", "Cancel", "default: Cancel"}));
    run(2);
    EXPECT_EQ(storedKey(), key);
    EXPECT_EQ(streams(), before) << "cancelled: nothing restarts";

    // Another account's key, with no address or with one: refused with the workspace's reason,
    // and never asked about.
    sim->control("POST", "/sim/faults",
                 QJsonObject{{"path", "/app/api/auth/desktop/token"},
                             {"status", 403},
                             {"json", QJsonObject{{"detail", "Unknown desktop key"}}},
                             {"times", 2}});
    open("mirkvantle:connect?key=someone-elses");
    ASSERT_TRUE(runUntil([&] { return message() == "Couldn't connect to Vantle: Unknown desktop key"; }));
    stage->closeChat();
    open("mirkvantle:connect?key=someone-elses&url=" + QUrl::toPercentEncoding(address));
    ASSERT_TRUE(runUntil([&] { return message() == "Couldn't connect to Vantle: Unknown desktop key"; }));
    EXPECT_EQ(asked.size(), 1);
    EXPECT_EQ(storedKey(), key);

    // Yes, with the address as it stands; a second link meanwhile waits for the first's answer
    // and is asked about after it.
    answer = "Connect";
    app->announcedKeyEnded = true;
    int nested = 0;
    whileAsking = [&] {
        nested++ == 0 ? open("mirkvantle:connect?key=" + QUrl::toPercentEncoding(key)) : void();
    };
    const int company = countOf("GET", "/api/company");
    open("mirkvantle:connect?key=%20" + QUrl::toPercentEncoding(key) + "&url=%20" +
         QUrl::toPercentEncoding(address));
    ASSERT_TRUE(runUntil([&] { return asked.size() == 3; })) << "the one that came meanwhile is asked next";
    EXPECT_EQ(storedKey(), key) << "stored trimmed";
    EXPECT_EQ(storedAddress(), address);
    EXPECT_FALSE(app->announcedKeyEnded);
    EXPECT_TRUE(runUntil(
        [&] { return message() == "Connected to Vantle as Kaia Tamm. Press Ctrl+Alt+Space to chat."; }));
    EXPECT_GT(streams(), before) << "the stream starts again";
    EXPECT_GT(countOf("GET", "/api/company"), company) << "the workspace's language is asked again";
    whileAsking = nullptr;

    // Loopback on plain http with a port, in Estonian.
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    answer = "Ühenda";
    const QString loopback = "http://localhost:" + QString::number(sim->port()) + "/app";
    open("mirkvantle:connect?key=" + QUrl::toPercentEncoding(key) +
         "&url=" + QUrl::toPercentEncoding(loopback));
    ASSERT_TRUE(runUntil([&] { return asked.size() == 4; }));
    EXPECT_EQ(asked.last(), "Mirk Vantle Agents vestleb ja näitab teavitusi sinu nimel tööruumis " +
                                loopback + ".\n\nKonto: Kaia Tamm (kaia.tamm@northwind.example)");
    EXPECT_EQ(buttons, (QStringList{"Kas ühendada Vantlega?", "Ühenda", "Tühista", "default: Tühista"}));
    EXPECT_EQ(storedAddress(), loopback);

    // A host of letters beyond ASCII is shown as the DNS sees it.
    EXPECT_EQ(LinkCommands::shownAddress(QUrl("https://tööruum.de/app")),
              "https://xn--truum-juaa.de/app");
}

TEST_F(LinkCommandsTest, HostileLinksOpenNothingRunNothingAndShowTextAsItStands) {
    const std::pair<const char*, QStringList> targets[] = {
        {"javascript:alert(document.cookie)", {}},
        {"data:text/html,%3Cscript%3Ealert(1)%3C/script%3E", {}},
        {"file:///bin/sh", {"/bin/sh"}},
        {"vbscript:msgbox", {}},
        {"smb://host/share/x.exe", {}},
    };
    for (const auto& [target, revealed] : targets) {
        SCOPED_TRACE(target);
        services.desktop->revealed.clear();
        open(QStringLiteral("mirkvantle:notify?text=Look&url=") + QUrl::toPercentEncoding(target));
        ASSERT_TRUE(stage->balloonPanel);
        balloon().onMessageClick();
        EXPECT_TRUE(services.desktop->opened.isEmpty());
        EXPECT_EQ(services.desktop->revealed, revealed) << "shown in the file manager, never run";
    }
    // Local files open only as documents, by name and by content; a missing one does nothing.
    QTemporaryDir files;
    const auto place = [&](const QString& name, const QByteArray& bytes) {
        QFile file(files.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    };
    const QString page = place("offer.html", "<script>fetch('file:///etc/passwd')</script>");
    const QString launcher = place("Plan.desktop", "[Desktop Entry]\nType=Application\nExec=sh -c x\n");
    const QString script = place("notes.txt", "#!/bin/sh\nrm -rf ~\n");
    const QString drawing = place("chart.svg", "<svg xmlns='http://www.w3.org/2000/svg'><script/></svg>");
    const QString plan = place("Plan B.csv", "a,b\n1,2\n");
    for (const auto& [path, revealed] :
         std::vector<std::pair<QString, QStringList>>{{page, {page}},
                                                      {launcher, {launcher}},
                                                      {script, {script}},
                                                      {drawing, {drawing}},
                                                      {files.filePath("gone.pdf"), {}}}) {
        SCOPED_TRACE(path.toStdString());
        services.desktop->revealed.clear();
        open("mirkvantle:notify?text=Look&url=" +
             QUrl::toPercentEncoding(QUrl::fromLocalFile(path).toEncoded()));
        balloon().onMessageClick();
        EXPECT_TRUE(services.desktop->opened.isEmpty());
        EXPECT_EQ(services.desktop->revealed, revealed);
    }
    open("mirkvantle:notify?text=Look&url=" + QUrl::toPercentEncoding(QUrl::fromLocalFile(plan).toEncoded()));
    balloon().onMessageClick();
    EXPECT_EQ(services.desktop->opened, QList<QUrl>{QUrl::fromLocalFile(plan)});
    services.desktop->opened.clear();

    const QString markup = "<b>bold</b> <a href=\"file:///etc\">x</a>";
    open("mirkvantle:notify?text=" + QUrl::toPercentEncoding(markup) +
         "&url=" + QUrl::toPercentEncoding("file:///tmp/%3Cb%3Ename.pdf"));
    EXPECT_EQ(balloon().messageLabel()->toPlainText(), markup);
    EXPECT_EQ(balloon().hintLabel()->textFormat(), Qt::PlainText);
    EXPECT_EQ(hint(), "Click to open <b>name.pdf ›");
    stage->closeChat();

    open("mirkvantle:say?text=%FF");
    open("mirkvantle:say?x=%C3%28&text=fine");
    open("mirkvantle:say?text=%ED%A0%80");
    EXPECT_FALSE(stage->balloonPanel) << "escapes that aren't UTF-8 leave the query unreadable";

    QString many = "mirkvantle:say?";
    for (int i = 0; i < 10000; ++i) {
        many += QStringLiteral("p%1=%1&").arg(i);
    }
    open(many + "text=last");
    EXPECT_EQ(message(), "last");
    const QString longest(10000, QLatin1Char('a'));
    open("mirkvantle:say?text=" + longest);
    EXPECT_EQ(message(), longest);
    stage->closeChat();
    const QString huge(1 << 20, QLatin1Char('a'));
    open("mirkvantle:" + huge);
    open("mirkvantle:say?text=b" + longest);
    open("mirkvantle:say?text=" + huge);
    open("mirkvantle:connect?key=" + huge);
    open("mirkvantle:connect?key=k&url=https://example.com/" + QString(3000, QLatin1Char('a')));
    run(1);
    EXPECT_FALSE(stage->balloonPanel) << "a value longer than any text to show leaves the query unreadable";
    EXPECT_TRUE(asked.isEmpty()) << "an address nobody can read is refused";
}

TEST_F(LinkCommandsTest, LinksBeforeStartUpWaitForItAndRunOnceInOrder) {
    AppDelegate early;
    early.open({QUrl("mirkvantle:say?text=first")});
    early.open({QUrl("mirkvantle:notify?text=second&seconds=0")});
    early.applicationDidFinishLaunching();
    ASSERT_TRUE(early.stage);
    EXPECT_FALSE(early.stage->balloonPanel) << "held until everything stands";
    scheduler->advance(0);
    ASSERT_TRUE(early.stage->balloonPanel);
    EXPECT_EQ(early.stage->balloonPanel->balloon().messageLabel()->message(), "second");
    EXPECT_FALSE(early.waitingLinks);
    early.open({QUrl("mirkvantle:say?text=third")});
    EXPECT_EQ(early.stage->balloonPanel->balloon().messageLabel()->message(), "third")
        << "at once from now on";
    early.stage->closeChat();
}
