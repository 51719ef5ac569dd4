#include "support/Installed.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "workspace/Keychain.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>

namespace {

class StageReceivingTest : public StageFixture {
protected:
    QString write(const QString& name, const QByteArray& bytes = "content") {
        const QString path = dir.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    // The bodies of the turns the simulator was sent, oldest first.
    QList<QByteArray> turns() const {
        QList<QByteArray> bodies;
        for (const auto& entry : sim->requests()) {
            if (entry.toObject().value("path").toString().endsWith("/turn")) {
                bodies << SimProcess::bodyOf(entry);
            }
        }
        return bodies;
    }
    QTemporaryDir dir;
};

} // namespace

TEST_F(StageReceivingTest, CollectWalksFoldersAndKeepsToTheTypesTheSizeAndTheBatch) {
    // The largest file that goes is 100 MiB, to the byte.
    const QString exact = write("exact.pdf");
    QFile::resize(exact, 100 * 1024 * 1024);
    const QString over = write("over.pdf");
    QFile::resize(over, 100 * 1024 * 1024 + 1);
    // Sparse: it takes no room on disk, and is never read.
    const QString huge = write("huge.pdf");
    QFile::resize(huge, qint64(2) << 30);
    write("folder/b.csv");
    write("folder/deeper/c.PNG");
    write("folder/.hidden.pdf");
    write("folder/tool.exe");
    // Links, at the top and inside, to a secret file and to a folder: none is followed.
    const QString secret = write("elsewhere/id_rsa.txt");
    write("elsewhere/keys/private.pdf");
    QFile::link(secret, dir.filePath("folder/notes.txt"));
    QFile::link(dir.filePath("elsewhere/keys"), dir.filePath("folder/keys"));
    QFile::link(secret, dir.filePath("top.txt"));
    QFile::link(dir.filePath("elsewhere"), dir.filePath("top-folder"));
    auto picked =
        StageViewController::collect({exact, over, huge, dir.filePath("folder"), dir.filePath("gone.pdf"),
                                      dir.filePath("top.txt"), dir.filePath("top-folder")});
    EXPECT_EQ(picked.files,
              (QStringList{exact, dir.filePath("folder/b.csv"), dir.filePath("folder/deeper/c.PNG")}));
    EXPECT_EQ(picked.skipped, (QStringList{"over.pdf", "huge.pdf", "tool.exe"}));
    EXPECT_EQ(picked.leftOut, 0);

    QStringList many;
    for (int i = 0; i < 52; ++i) {
        many << write(QStringLiteral("many/%1.txt").arg(i, 2, 10, QLatin1Char('0')));
    }
    picked = StageViewController::collect(many);
    EXPECT_EQ(picked.files.size(), 50);
    EXPECT_EQ(picked.leftOut, 2);
}

TEST_F(StageReceivingTest, ADropUploadsOneByOneSaysWhatHappenedAndTheNextQuestionCarriesIt) {
    sim->control("POST", "/sim/faults",
                 QJsonObject{{"path", "/app/api/knowledge/documents"}, {"status", 500}, {"times", 1}});
    Capture::Captured captured;
    captured.files = QStringList{write("first.pdf"), write("Notes.txt"), write("Smith%2C.exe")};
    captured.emails = QStringList{
        write("Offer.eml", "From: Mari Maasikas <mari@example.ee>\r\nSubject: Pakkumine\r\n\r\nTere\r\n")};
    stage->receive(captured);
    ASSERT_TRUE(stage->balloonPanel);
    EXPECT_EQ(message(), "Saving to Vantle… 0/3");
    EXPECT_TRUE(stage->isReceivingFiles);
    ASSERT_TRUE(runUntil([&] { return !stage->isReceivingFiles; }));
    EXPECT_EQ(message().toStdString(),
              "Filed “Pakkumine” from Mari Maasikas in Vantle, as if you'd forwarded it.\n\n"
              "Saved 1 file in Vantle → Uploads.\n\n"
              "Tell me what to do with them, or I'll leave them there.\n\n"
              "Couldn't save: first.pdf (Vantle: HTTP 500)\n\n"
              "Left out Smith%2C.exe: Vantle takes emails, PDFs, images, Word, Excel, PowerPoint, text and "
              "CSV up to "
              "100 MB, 50 at a time.");
    EXPECT_EQ(balloon().status(), BalloonStatus::warning);
    EXPECT_EQ(stage->droppedDocuments.size(), 1);
    EXPECT_EQ(stage->droppedEmails.size(), 1);
    EXPECT_EQ(countOf("POST", "/api/inbox/forward"), 1) << "the message went first, and once";

    // The next question names the message and carries the document; the one after, neither.
    const QByteArray documentId = stage->droppedDocuments.first().id.toUtf8();
    stage->send("Summarise these", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return turns().size() == 1; }));
    const QByteArray first = turns().first();
    EXPECT_TRUE(first.contains("[Email I just forwarded to Vantle: \u201EPakkumine\u201D \u2014 Mari "
                               "Maasikas <mari@example.ee>]\\n\\nSummarise these"))
        << first.toStdString();
    EXPECT_TRUE(first.contains(documentId));
    EXPECT_TRUE(stage->droppedEmails.isEmpty() && stage->droppedDocuments.isEmpty());
    run(3);
    stage->send("And now?", std::nullopt);
    ASSERT_TRUE(runUntil([&] { return turns().size() == 2; }));
    EXPECT_FALSE(turns().last().contains("Email I just forwarded"));
    EXPECT_FALSE(turns().last().contains(documentId));
}

TEST_F(StageReceivingTest, NothingUsableOrNoKeyEndsWithoutUploads) {
    Capture::Captured nothing;
    nothing.files = QStringList{dir.filePath("gone.pdf")};
    stage->receive(nothing);
    EXPECT_FALSE(stage->balloonPanel) << "no balloon for nothing at all";
    EXPECT_FALSE(stage->isReceivingFiles);

    services.secretStore->secrets.remove(Keychain::desktopKeyAccount);
    Capture::Captured one;
    one.files = QStringList{write("a.pdf")};
    stage->receive(one);
    ASSERT_TRUE(stage->balloonPanel);
    EXPECT_TRUE(message().startsWith("Connect me to your Vantle workspace first"));
    EXPECT_FALSE(stage->isReceivingFiles);
    run(1);
    EXPECT_EQ(countOf("POST", "/api/knowledge/documents"), 0);
}

TEST_F(StageReceivingTest, AConnectionLostOnTheThirdOfFiveCostsOnlyThatOneAndNothingIsStoredTwice) {
    sim->control("POST", "/sim/faults",
                 QJsonObject{{"path", "/app/api/knowledge/documents"},
                             {"action", "drop"},
                             {"body_contains", "filename=\"c.pdf\""},
                             {"times", 0}});
    Capture::Captured captured;
    for (const char* name : {"a.pdf", "b.pdf", "c.pdf", "d.pdf", "e.pdf"}) {
        captured.files << write(name);
    }
    stage->receive(captured);
    ASSERT_TRUE(runUntil([&] { return !stage->isReceivingFiles; }, 60));
    const auto documents = sim->control("GET", "/sim/state").toObject().value("documents").toArray();
    QStringList names;
    for (const auto& document : documents) {
        names << document.toObject().value("name").toString();
    }
    EXPECT_EQ(names, (QStringList{"a.pdf", "b.pdf", "d.pdf", "e.pdf"}));
    // Each stored file went once. The lost one may go twice: the network stack sends a request
    // again, once, when a reused connection closes before any answer, as the server then never
    // took it.
    for (const char* name : {"a.pdf", "b.pdf", "d.pdf", "e.pdf"}) {
        int sent = 0;
        for (const auto& body : bodiesTo("/api/knowledge/documents")) {
            sent += body.contains(QByteArray("filename=\"") + name + "\"") ? 1 : 0;
        }
        EXPECT_EQ(sent, 1) << name;
    }
    EXPECT_TRUE(message().startsWith("Saved 4 files in Vantle → Uploads.")) << message().toStdString();
    EXPECT_TRUE(message().contains("Couldn't save: c.pdf (")) << message().toStdString();
    EXPECT_EQ(balloon().status(), BalloonStatus::warning);
}

// A file dragged from another toolkit's window with the real pointer, onto the figure and then
// onto the open balloon; the simulator keeps what arrived.
TEST_F(StageReceivingTest, ARealDragFromAnotherProgramLandsOnTheFigureAndOnTheBalloon) {
    const QString source = QStringLiteral(MIRK_SOURCE_DIR "/tests/support/x11/drag-source.py");
    ASSERT_TRUE(installed({"xdotool", "python3"}));
    const QByteArray bytes = QByteArray("Offer, line one\n").repeated(1000);
    const QString path = write(QStringLiteral("Hinnapakkumine „Mänd”.txt"), bytes);
    QProcess dragger;
    dragger.start("/usr/bin/python3", {source, path});
    ASSERT_TRUE(spinUntil([&] { return dragger.canReadLine() || dragger.state() == QProcess::NotRunning; }));
    ASSERT_EQ(dragger.readLine().trimmed(), "ready") << dragger.readAllStandardError().toStdString();
    spinFor(300);

    // Press on the source, leave it, rest over the target and let go, as a hand does; the
    // program answers the drag while xdotool moves, so xdotool runs beside the event loop.
    const auto dragTo = [&](QPoint to) {
        QProcess xdotool;
        const QString x = QString::number(to.x()), y = QString::number(to.y());
        xdotool.start(
            "xdotool",
            {"mousemove", "90",        "70",    "mousedown", "1",         "sleep",
             "0.1",       "mousemove", "110",   "90",        "sleep",     "0.1",
             "mousemove", "250",       "200",   "sleep",     "0.1",       "mousemove",
             x,           y,           "sleep", "0.3",       "mousemove", QString::number(to.x() + 2),
             y,           "sleep",     "0.3",   "mouseup",   "1"});
        return spinUntil([&] { return xdotool.state() == QProcess::NotRunning; }, 10000);
    };
    const auto stored = [&] {
        return sim->control("GET", "/sim/state").toObject().value("documents").toArray().size();
    };

    ASSERT_TRUE(dragTo(window->frameGeometry().center()));
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && message().startsWith("Saved 1 file"); }))
        << message().toStdString();
    EXPECT_TRUE(message().contains("Vantle → Uploads")) << message().toStdString();
    ASSERT_EQ(stored(), 1);

    // The balloon stays open as a chat; the second drop lands on it.
    stage->openChat(false);
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && stage->balloonPanel->isVisible(); }));
    spinFor(300);
    ASSERT_TRUE(dragTo(stage->balloonPanel->frameGeometry().center()));
    ASSERT_TRUE(runUntil([&] { return stored() == 2 && !stage->isReceivingFiles; }));
    const auto documents = sim->control("GET", "/sim/state").toObject().value("documents").toArray();
    for (const auto& document : documents) {
        EXPECT_EQ(document.toObject().value("name").toString(), QFileInfo(path).fileName());
        EXPECT_EQ(document.toObject().value("size").toInteger(), bytes.size());
        EXPECT_EQ(document.toObject().value("sha256").toString(),
                  QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    }
    dragger.kill();
    dragger.waitForFinished();
}
