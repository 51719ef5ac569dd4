#include "app/AppDelegate.h"
#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/HotKey.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/VirtualScheduler.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterView.h"
#include "character/CharacterWindow.h"
#include "platform/fake/FakeServices.h"
#include "stage/BalloonView.h"
#include "stage/CharactersMenu.h"
#include "stage/MessageText.h"
#include "stage/StageViewController.h"
#include "support/CharacterFixture.h"
#include "support/LogCapture.h"
#include "support/ReportFixture.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"
#include "time/StatusMenu.h"
#include "workspace/ClientError.h"
#include "workspace/VantleEvents.h"

#include <QApplication>
#include <QFileInfo>
#include <QJsonObject>
#include <QMenu>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

class AppDelegateStageTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("http://127.0.0.1:1/app"));
        // 40 pixels square; only the middle 20 are the figure.
        const auto middle = [](int x, int y) {
            const int cx = x % 40;
            const int cy = y % 40;
            return cx >= 10 && cx < 30 && cy >= 10 && cy < 30 ? 255 : 0;
        };
        for (const char* id : {"dorn", "lirra", "morvo", "pelka"}) {
            fixture.add(id, CharacterFixture::definition(id, 4, 3, 40), middle);
        }
        fixture.activate();
    }

    void TearDown() override {
        app.reset();
        // The event stream outlives the program object; it must not wait on this test's clock.
        VantleEvents::shared().stop();
        scheduler.advance(0);
    }

    // Started without a key, the figure first says how to connect it; that is set aside here.
    void launch() {
        start();
        if (app->stage) {
            app->stage->closeChat();
        }
    }
    void start() {
        app = std::make_unique<AppDelegate>();
        app->applicationDidFinishLaunching();
        scheduler.advance(0);
    }

    // Reports are written by the stand-in from here on.
    void writeReportsByHand() {
        app->reports.write = [this](QDate day) { return writer.write(day); };
    }
    BalloonView& balloon() { return app->stage->balloonPanel->balloon(); }
    // The titles of the figure's context menu; with a title, also picks that item.
    QStringList contextMenu(const QString& pick = {}) {
        app->stage->showContextMenu({400, 400});
        spinUntil([] { return QApplication::activePopupWidget() != nullptr; });
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QStringList titles;
        for (auto* item : menu ? menu->actions() : QList<QAction*>{}) {
            titles << item->text();
            if (!pick.isEmpty() && item->text() == pick) {
                item->trigger();
            }
        }
        if (menu) {
            menu->close();
        }
        return titles;
    }

    platform::fake::FakeServices services;
    base::VirtualScheduler scheduler;
    CharacterFixture fixture;
    ReportFixture writer;
    std::unique_ptr<AppDelegate> app;
};

} // namespace

TEST_F(AppDelegateStageTest, TheFirstStartCentresTheFigureAndTheNextRestoresItsPlace) {
    launch();
    ASSERT_TRUE(app->stage);
    ASSERT_TRUE(app->window);
    EXPECT_TRUE(app->window->isVisible());
    EXPECT_EQ(app->window->size(), QSize(160, 120));
    const QRect area = app->window->screen()->availableGeometry();
    EXPECT_LE((app->window->geometry().center() - area.center()).manhattanLength(), 2);

    app->window->move(120, 140);
    app.reset();
    EXPECT_EQ(Settings::value("CharacterWindow").toRect(), QRect(120, 140, 160, 120));

    launch();
    EXPECT_EQ(app->window->geometry(), QRect(120, 140, 160, 120));
}

TEST_F(AppDelegateStageTest, OnlyTheFiguresOwnPixelsCountAsHits) {
    launch();
    scheduler.advance(1); // the entrance has ended on the rest cell
    const auto& hasPixel = app->window->hasPixel;
    ASSERT_TRUE(hasPixel);
    // The rest cell is cell 0; its figure spans 40..120 of the 160-pixel window.
    EXPECT_FALSE(hasPixel(QPointF(5.5, 5.5)));
    EXPECT_TRUE(hasPixel(QPointF(80.5, 60.5)));
    EXPECT_TRUE(hasPixel(QPointF(40.5, 40.5)));
    EXPECT_FALSE(hasPixel(QPointF(39.5, 60.5)));
    app->stage->view().setCell(std::nullopt);
    EXPECT_FALSE(hasPixel(QPointF(80.5, 60.5))) << "a hidden figure has no pixels";
}

TEST_F(AppDelegateStageTest, AFileDragReachesTheStagesDropZone) {
    launch();
    auto& stage = *app->stage;
    app->window->onFileDrag(true);
    EXPECT_TRUE(stage.isFileDragActive);
    EXPECT_EQ(stage.view().dropZone(), CharacterView::DropZone::nearby);
    stage.areFilesOver = true;
    app->window->onFileDrag(false);
    EXPECT_FALSE(stage.isFileDragActive);
    EXPECT_FALSE(stage.areFilesOver);
    EXPECT_EQ(stage.view().dropZone(), CharacterView::DropZone::hidden);
}

TEST_F(AppDelegateStageTest, WithoutCharactersTheWindowStaysHidden) {
    CharacterFixture empty;
    empty.activate();
    launch();
    ASSERT_TRUE(app->window);
    EXPECT_FALSE(app->window->isVisible());
}

TEST_F(AppDelegateStageTest, TheShortcutsBringTheAgentsOnAndOneHeldElsewhereCostsOnlyItself) {
    services.hotKeys->heldElsewhere = {HotKey::digit1 + 2};
    LogCapture log;
    launch();
    EXPECT_EQ(app->shortcuts.size(), 5u) << "Space, Tab, 1, 2 and 4";
    EXPECT_EQ(log.lines().filter("held by another program"),
              QStringList{"Ctrl+Alt+3 is held by another program; that shortcut is off."});
    EXPECT_FALSE(services.hotKeys->press(HotKey::digit1 + 2));
    // The agents' menu shows the keys that work, and not the one held elsewhere.
    const std::unique_ptr<QMenu> agents(CharactersMenu::make(
        std::nullopt, [](const QString&) {}, nullptr));
    EXPECT_EQ(agents->actions().at(1)->shortcut(), QKeySequence("Ctrl+Alt+2"));
    EXPECT_EQ(agents->actions().at(2)->shortcut(), QKeySequence());
    EXPECT_EQ(agents->actions().last()->shortcut(), QKeySequence("Ctrl+Alt+Tab"));

    ASSERT_TRUE(services.hotKeys->press(HotKey::digit1 + 1));
    scheduler.advance(3);
    EXPECT_EQ(app->stage->player().sheet()->definition.id, "lirra");

    ASSERT_TRUE(services.hotKeys->press(HotKey::tab));
    scheduler.advance(3);
    EXPECT_EQ(app->stage->player().sheet()->definition.id, "morvo");

    ASSERT_TRUE(services.hotKeys->press(HotKey::digit1 + 3));
    scheduler.advance(3);
    EXPECT_EQ(app->stage->player().sheet()->definition.id, "pelka");

    app.reset();
    EXPECT_TRUE(services.hotKeys->grabbed.isEmpty()) << "released with the program";
}

TEST_F(AppDelegateStageTest, NotificationsReachTheStageOnlyWhileSwitchedOnAndVantleOpensItsDashboard) {
    launch();
    scheduler.advance(1);
    const QString event =
        QStringLiteral(R"({"type":"notification.created","data":{"id":"n1","agentId":"dorn","title":"Hi"}})");
    Settings::setValue(QLatin1String(Settings::Key::notifications), false);
    VantleEvents::shared().dispatch("vantle.event", event);
    EXPECT_FALSE(app->stage->balloonPanel) << "switched off: dropped unseen";
    Settings::setValue(QLatin1String(Settings::Key::notifications), true);
    VantleEvents::shared().dispatch("vantle.event", event);
    ASSERT_TRUE(app->stage->balloonPanel);
    app->stage->closeChat();

    emit AppEvents::shared().vantleRequested(); // as the tray menu asks
    EXPECT_EQ(services.desktop->opened, QList<QUrl>{QUrl("http://127.0.0.1:1/app/")});
}

TEST_F(AppDelegateStageTest, AStartWithoutAKeySaysHowToConnectAndOnlyAKeyThatWorkedIsSaidToHaveEnded) {
    start();
    ASSERT_TRUE(app->stage->balloonPanel) << "said by itself, once";
    EXPECT_EQ(balloon().messageLabel()->message(),
              QStringLiteral(
                  "Connect me to your Vantle workspace first: Personal settings → Connect desktop app."));
    ASSERT_TRUE(app->statusMenu);
    EXPECT_EQ(app->statusMenu->item.toolTip(), QStringLiteral("Mirk Vantle Agents\nNot connected to Vantle"));
    int opened = 0;
    QObject::connect(&AppEvents::shared(), &AppEvents::settingsRequested, app.get(), [&] { ++opened; });
    balloon().onMessageClick();
    EXPECT_EQ(opened, 1) << "its click opens the settings";
    EXPECT_FALSE(app->stage->balloonPanel);
    scheduler.advance(60);
    EXPECT_FALSE(app->stage->balloonPanel) << "not again";

    // A mistyped key refused: the settings say why, the figure keeps quiet.
    ASSERT_TRUE(VantleEvents::shared().onKeyEnded);
    VantleEvents::shared().onKeyEnded();
    EXPECT_FALSE(app->stage->balloonPanel);
    // A key that had worked and is refused now: the figure says so, once.
    Settings::setValue(QLatin1String(Settings::Key::keyWorked), true);
    VantleEvents::shared().onKeyEnded();
    ASSERT_TRUE(app->stage->balloonPanel);
    EXPECT_EQ(balloon().messageLabel()->message(),
              VantleClient::ClientError::keyEnded().localizedDescription());
    // Another key: whether it works is for the workspace to say again.
    app->workspaceDidChange();
    EXPECT_FALSE(Settings::boolValue(QLatin1String(Settings::Key::keyWorked)));
}

TEST_F(AppDelegateStageTest, WithoutATrayTheFiguresMenuHoldsTheRestAndItsQuitEndsTheLoopThroughTermination) {
    launch();
    scheduler.advance(1);
    ASSERT_FALSE(StatusMenu::isInTray()) << "this display has no tray";
    QList<QDateTime> ends;
    QObject::connect(&AppEvents::shared(), &AppEvents::activityEnds, app.get(),
                     [&ends](const QDateTime& at) { ends << at; });
    app->stage->showContextMenu({400, 400});
    ASSERT_TRUE(spinUntil([] { return QApplication::activePopupWidget() != nullptr; }));
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_TRUE(menu);
    QAction* more = menu->actions().last();
    ASSERT_TRUE(more->menu());
    EXPECT_EQ(more->text(), "Mirk Vantle Agents");
    QStringList figureRows;
    for (const auto* action : menu->actions()) {
        figureRows << action->text();
    }
    QStringList moreRows;
    for (const auto* action : more->menu()->actions()) {
        moreRows << (action->isSeparator() ? QStringLiteral("-") : action->text());
    }
    EXPECT_EQ(moreRows, (QStringList{"Open Vantle", "Mute Sounds", "-", "Quit Mirk Vantle Agents"}))
        << "no key, so no timer rows; nothing the figure's menu has already";
    EXPECT_TRUE(figureRows.contains("Settings…"));
    EXPECT_FALSE(figureRows.contains("Quit Mirk Vantle Agents"));
    QTimer::singleShot(0, more->menu()->actions().last(), &QAction::trigger);
    // Should the item not end the loop, the test fails instead of hanging.
    QTimer patience;
    patience.setSingleShot(true);
    QObject::connect(&patience, &QTimer::timeout, [] { QCoreApplication::exit(1); });
    patience.start(10000);
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_EQ(ends, QList<QDateTime>{base::Clock::now()}) << "the open activity span closes as the loop ends";
}

TEST_F(AppDelegateStageTest, AnAutomaticReportFailureShowsOnceADayAndTheUsersFailuresAlways) {
    ReportFixture::addActivity(QDate(2026, 3, 1), 3600);
    ReportFixture::addActivity(QDate(2026, 3, 2), 3600);
    launch();
    writeReportsByHand();
    // Reports that ended with a balloon of their own.
    int shown = 0;
    const auto showing = app->reports.onFinish;
    app->reports.onFinish = [&, showing](const QDate& day, const DailyReport::ReportResult& result,
                                         bool automatic) {
        app->stage->closeChat();
        showing(day, result, automatic);
        shown += app->stage->balloonPanel ? 1 : 0;
    };
    scheduler.advance(15);
    ASSERT_TRUE(writer.isWriting());
    EXPECT_FALSE(app->stage->balloonPanel) << "a report of its own accord starts silently";
    writer.finish(false);
    ASSERT_EQ(shown, 1);
    EXPECT_EQ(balloon().messageLabel()->message(), "No recent usage data.");

    emit AppEvents::shared().reportRequested(QDate(2026, 3, 2)); // as the settings ask
    writer.finish(false);
    EXPECT_EQ(shown, 2) << "the user's failure shows on a day whose failure was shown already";

    // The ticks try again every half hour for the rest of the day, and speak up the next.
    for (int minute = 0; minute < 16 * 60; ++minute) {
        scheduler.advance(60);
        if (writer.isWriting()) {
            writer.finish(false);
        }
    }
    EXPECT_EQ(writer.asked.count(QDate(2026, 3, 1)), 30);
    EXPECT_EQ(writer.asked.last(), QDate(2026, 3, 2));
    EXPECT_EQ(shown, 3);
}

TEST_F(AppDelegateStageTest, TheUsersReportComesFromALinkOrTheMenuShowsProgressAndOpensFromItsBalloon) {
    launch();
    writeReportsByHand();
    scheduler.advance(1);
    const QDate today(2026, 3, 2);
    const QString reportsFolder = AppIdentity::supportURL() + "/Reports";

    app->open({QUrl("mirkvantle://report")});
    ASSERT_EQ(writer.asked, QList<QDate>{today});
    ASSERT_TRUE(app->stage->balloonPanel);
    EXPECT_EQ(balloon().messageLabel()->message(), "Writing today's report on this computer…");
    writer.finish(true);
    EXPECT_EQ(balloon().messageLabel()->message(), ReportFixture::headline);
    EXPECT_EQ(balloon().hintLabel()->text(), "Click to open today's report ›");
    QTest::mouseClick(balloon().hintLabel(), Qt::LeftButton, {}, QPoint(4, 4));
    EXPECT_EQ(services.desktop->opened, QList<QUrl>{QUrl::fromLocalFile(DailyReport::reportURL(today))});

    // The report items go with Pelka while she is installed, and with anyone when she isn't.
    EXPECT_FALSE(contextMenu().contains("Today's Report"));
    CharacterFixture withoutPelka;
    for (const char* id : {"dorn", "lirra", "morvo"}) {
        withoutPelka.add(id, CharacterFixture::definition(id, 4, 3, 40));
    }
    withoutPelka.activate();
    EXPECT_TRUE(contextMenu("Open Reports Folder").contains("Today's Report"));
    EXPECT_EQ(services.desktop->opened.last(), QUrl::fromLocalFile(reportsFolder));
    EXPECT_TRUE(QFileInfo(reportsFolder).isDir());
    contextMenu("Today's Report");
    EXPECT_EQ(writer.asked, (QList<QDate>{today, today}));
    EXPECT_EQ(balloon().messageLabel()->message(), "Writing today's report on this computer…");
}
