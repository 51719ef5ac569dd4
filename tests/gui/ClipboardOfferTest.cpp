#include "capture/ClipboardWatcher.h"
#include "support/Installed.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QJsonArray>
#include <QProcess>

namespace {

// Copies text in another X client, as a user would in another program.
bool copyElsewhere(const QByteArray& text) {
    QProcess xclip;
    xclip.start("xclip", {"-selection", "clipboard", "-i"});
    xclip.write(text);
    xclip.closeWriteChannel();
    // xclip leaves a child behind to serve the selection, and ends itself.
    return xclip.waitForFinished(5000) && xclip.exitCode() == 0;
}

class ClipboardOfferTest : public StageFixture {
protected:
    void SetUp() override {
        StageFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(installed({"xclip"}));
        auto& watcher = ClipboardWatcher::shared();
        watcher.start();
        watcher.copiedAt.reset();
        watcher.offered.reset();
        services.activeWindow->front = platform::FrontApplication{"sheets", "Sheets", 1};
    }
    // Opens the chat and answers the chip it offers, if any.
    QString chip() {
        stage->closeChat();
        stage->openChat(false);
        const auto& choices = balloon().choices();
        return choices.isEmpty() ? QString() : choices.first().label;
    }
    // Waits until the watcher has heard of a copy.
    bool heard(quint64 before) {
        return spinUntil([&] { return ClipboardWatcher::shared().seen > before; });
    }
};

} // namespace

TEST_F(ClipboardOfferTest, ACopyElsewhereIsOfferedOnceWhileFreshAndTakenByTheDropsRoad) {
    auto& watcher = ClipboardWatcher::shared();
    ASSERT_TRUE(copyElsewhere("Name\tHours\nMari\t7\n"));
    ASSERT_TRUE(heard(0) || watcher.copiedAt);
    EXPECT_EQ(chip().toStdString(), "\U0001F4CE Attach what you copied from Sheets");
    EXPECT_TRUE(chip().isEmpty()) << "one offer per copy";

    // A new copy is offered again; taken, it goes up as a table.
    quint64 before = watcher.seen;
    ASSERT_TRUE(copyElsewhere("Task\tHours\nReview\t2\n"));
    ASSERT_TRUE(heard(before));
    stage->closeChat();
    stage->openChat(false);
    ASSERT_EQ(balloon().choices().size(), 1);
    balloon().onChoice(balloon().choices().first());
    ASSERT_TRUE(runUntil([&] { return countOf("POST", "/api/knowledge/documents") == 1; }));
    ASSERT_TRUE(runUntil([&] { return !stage->isReceivingFiles; }));
    const auto documents = sim->control("GET", "/sim/state").toObject().value("documents").toArray();
    EXPECT_TRUE(documents.last().toObject().value("name").toString().startsWith("Sheets – copied cells "));

    // Fresh for just under five minutes.
    before = watcher.seen;
    ASSERT_TRUE(copyElsewhere("later"));
    ASSERT_TRUE(heard(before));
    scheduler->advance(299);
    EXPECT_FALSE(chip().isEmpty());
    before = watcher.seen;
    ASSERT_TRUE(copyElsewhere("too late"));
    ASSERT_TRUE(heard(before));
    scheduler->advance(300);
    EXPECT_TRUE(chip().isEmpty());

    // A copy in the program itself, after one elsewhere: nothing to offer.
    before = watcher.seen;
    ASSERT_TRUE(copyElsewhere("elsewhere"));
    ASSERT_TRUE(heard(before));
    before = watcher.seen;
    QGuiApplication::clipboard()->setText("mine");
    ASSERT_TRUE(heard(before));
    EXPECT_TRUE(chip().isEmpty());
}
