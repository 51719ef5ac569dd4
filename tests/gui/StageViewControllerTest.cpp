#include "stage/StageViewController.h"
#include "app/AppEvents.h"
#include "app/HotKey.h"
#include "app/Settings.h"
#include "base/VirtualScheduler.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterView.h"
#include "character/CharacterWindow.h"
#include "platform/fake/FakeServices.h"
#include "support/CharacterFixture.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QActionGroup>
#include <QApplication>
#include <QDir>
#include <QJsonObject>
#include <QMenu>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

namespace {

using Played = QList<std::pair<QString, QString>>; // character, animation

class StageTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        for (const char* id : {"dorn", "lirra", "morvo", "pelka"}) {
            auto d = CharacterFixture::definition(id, 4, 3, 25); // 100 by 75 pixels
            auto animations = d.value("animations").toObject();
            animations.remove("Empty"); // a playful pick of it would play nothing
            d.insert("animations", animations);
            fixture.add(id, d);
        }
        fixture.activate();
    }

    // The stage in its window, as the program builds it.
    void build(QRect frame = QRect(300, 300, 0, 0)) {
        stage = std::make_unique<StageViewController>();
        window = std::make_unique<CharacterWindow>();
        window->setContentView(&stage->view());
        window->setGeometry(frame);
    }

    void TearDown() override {
        stage.reset();
        window.reset();
    }

    CharacterPlayer& player() { return stage->player(); }

    // Advances in small steps for the given seconds, noting each animation as it starts.
    Played watch(double seconds) {
        Played played;
        QString last;
        for (double t = 0; t < seconds; t += 0.01) {
            scheduler.advance(0.01);
            const QString now = player().currentAnimation();
            if (now != last && !now.isEmpty()) {
                played.append({player().sheet()->definition.id, now});
            }
            last = now;
        }
        return played;
    }

    // The first character on stage, its entrance over.
    void onStage() {
        build();
        window->makeKeyAndOrderFront();
        watch(1);
        ASSERT_TRUE(player().sheet());
        ASSERT_FALSE(player().isHidden);
    }

    platform::fake::FakeServices services;
    base::VirtualScheduler scheduler;
    CharacterFixture fixture;
    std::unique_ptr<StageViewController> stage;
    std::unique_ptr<CharacterWindow> window;
};

} // namespace

TEST_F(StageTest, TheFirstCharacterIsTheLastOneUsedAndEntersWithShow) {
    Settings::setValue(QLatin1String(Settings::Key::lastUsedAgent), QStringLiteral("morvo"));
    build();
    window->makeKeyAndOrderFront();
    EXPECT_EQ(player().sheet()->definition.id, "morvo");
    EXPECT_FALSE(player().isHidden);
    EXPECT_EQ(player().currentAnimation(), "Show");
    EXPECT_EQ(window->windowTitle(), "Morvo");
    EXPECT_EQ(window->size(), QSize(100, 75));
    EXPECT_EQ(stage->vantleAgent(), VantleAgent::morvo);
}

TEST_F(StageTest, AnUnknownLastAgentGivesTheFirstCharacter) {
    Settings::setValue(QLatin1String(Settings::Key::lastUsedAgent), QStringLiteral("zed"));
    build();
    EXPECT_EQ(stage->vantleAgent(), VantleAgent::dorn);
    window->makeKeyAndOrderFront();
    EXPECT_EQ(player().sheet()->definition.id, "dorn");
    EXPECT_EQ(Settings::stringValue(QLatin1String(Settings::Key::lastUsedAgent)), "dorn");
}

TEST_F(StageTest, TwoQuickBringOnsGiveOneHideAndTheSecondAgentsShowAndServeBoth) {
    onStage();
    int first = 0;
    int second = 0;
    stage->bringOn("lirra", [&] { ++first; });
    stage->bringOn("morvo", [&] { ++second; });
    const auto played = watch(3);
    EXPECT_EQ(played, (Played{{"dorn", "Hide"}, {"morvo", "Show"}}));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
    EXPECT_FALSE(stage->handOver);
}

TEST_F(StageTest, ReturnPressedThreeTimesDuringAHandOverWalksThreeSteps) {
    onStage();
    for (int i = 0; i < 3; ++i) {
        QTest::keyClick(&stage->view(), Qt::Key_Return);
    }
    ASSERT_TRUE(stage->handOver);
    EXPECT_EQ(stage->handOver->target, "pelka");
    EXPECT_EQ(stage->nextCharacter(), "dorn") << "wraps round";
    watch(3);
    EXPECT_EQ(player().sheet()->definition.id, "pelka");
}

TEST_F(StageTest, TheCurrentAgentWhileHiddenAppearsWithoutAHandOver) {
    onStage();
    stage->playerWantsToDisappear(player());
    watch(1);
    ASSERT_TRUE(player().isHidden);
    EXPECT_FALSE(window->isVisible());
    int arrived = 0;
    stage->bringOn("dorn", [&] { ++arrived; });
    EXPECT_EQ(arrived, 1);
    EXPECT_EQ(watch(1), (Played{{"dorn", "Show"}}));
    EXPECT_TRUE(window->isVisible());
}

TEST_F(StageTest, AnotherAgentWhileHiddenSwitchesAtOnceWithoutHide) {
    onStage();
    stage->playerWantsToDisappear(player());
    watch(1);
    stage->bringOn("pelka");
    EXPECT_EQ(player().sheet()->definition.id, "pelka");
    EXPECT_EQ(player().currentAnimation(), "Show");
    EXPECT_EQ(watch(1), (Played{{"pelka", "Show"}})) << "no Hide";
}

TEST_F(StageTest, AnUnknownIdStillCallsThen) {
    onStage();
    int called = 0;
    stage->bringOn("nobody", [&] { ++called; });
    EXPECT_EQ(called, 1);
    EXPECT_EQ(player().sheet()->definition.id, "dorn");
}

TEST_F(StageTest, ThenRunsEvenWhenAnotherPlayCutsTheHandOversAnimationOff) {
    onStage();
    int arrived = 0;
    stage->bringOn("lirra", [&] { ++arrived; });
    scheduler.advance(0.05);
    player().play({"Wave"}); // cuts "Hide" off: its completion never comes
    watch(2);
    EXPECT_EQ(arrived, 1);
    EXPECT_EQ(player().sheet()->definition.id, "lirra");
}

TEST_F(StageTest, WithNoCharactersNothingIsNext) {
    CharacterFixture empty;
    empty.activate();
    build();
    EXPECT_EQ(stage->nextCharacter(), "");
    int called = 0;
    stage->bringOn(stage->nextCharacter(), [&] { ++called; });
    EXPECT_EQ(called, 1);
    window->makeKeyAndOrderFront();
    EXPECT_FALSE(player().sheet());
}

TEST_F(StageTest, DoubleScaleAtTheRightEdgeStaysOnTheScreen) {
    onStage();
    const QRect area = window->screen()->availableGeometry();
    window->setGeometry(area.right() - 110, area.bottom() - 200, 100, 75);
    Settings::setValue(QLatin1String(Settings::Key::scale), 2.0);
    emit AppEvents::shared().settingsDidChange();
    ASSERT_TRUE(spinUntil([&] { return window->frameAnimation().state() == QAbstractAnimation::Stopped; }));
    EXPECT_EQ(window->size(), QSize(200, 150));
    EXPECT_TRUE(area.contains(window->geometry())) << window->geometry().x() << " " << area.right();
    EXPECT_EQ(window->geometry().bottom(), area.bottom() - 200 + 74) << "grows upward from its feet";
}

TEST_F(StageTest, TheFirstSizeNeitherGlidesNorCentresOnTheEmptyFrame) {
    build(QRect(300, 400, 0, 0));
    window->makeKeyAndOrderFront();
    EXPECT_EQ(window->frameAnimation().state(), QAbstractAnimation::Stopped);
    EXPECT_EQ(window->geometry(), QRect(300, 325, 100, 75));
}

TEST_F(StageTest, MovingTakesTimeByDistanceBetweenAThirdAndThreeSeconds) {
    onStage();
    const auto durationTo = [&](QPoint to) {
        window->setFrame(QRect(0, 0, 100, 75));
        stage->move(to);
        return window->frameAnimation().state() == QAbstractAnimation::Running
                   ? window->frameAnimation().duration()
                   : 0;
    };
    EXPECT_EQ(durationTo({60, 80}), 300);
    EXPECT_EQ(durationTo({600, 800}), 2000);
    EXPECT_EQ(durationTo({3000, 4000}), 3000);
    EXPECT_EQ(durationTo({1, 0}), 0) << "a point away is no move";
    ASSERT_TRUE(spinUntil([&] { return window->frameAnimation().state() == QAbstractAnimation::Stopped; }));
}

TEST_F(StageTest, KeysOnTheFigure) {
    onStage();
    QTest::keyClick(&stage->view(), Qt::Key_Space);
    EXPECT_TRUE(player().sheet()->playfulAnimations().contains(player().currentAnimation()));
    QTest::keyClick(&stage->view(), Qt::Key_Escape);
    QTest::keyClick(&stage->view(), Qt::Key_Return);
    ASSERT_TRUE(stage->handOver);
    EXPECT_EQ(stage->handOver->target, "lirra");
}

TEST_F(StageTest, AnEntranceReplaysShowWhereMerelyAppearingDoesNot) {
    onStage();
    stage->appear(false);
    EXPECT_TRUE(watch(1).isEmpty());
    stage->appear(true);
    EXPECT_EQ(watch(1), (Played{{"dorn", "Show"}}));

    stage->playerWantsToDisappear(player());
    watch(1);
    stage->appear(false);
    EXPECT_FALSE(player().isHidden);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(watch(1), (Played{{"dorn", "Show"}})) << "hidden, it comes back with its entrance";
}

TEST_F(StageTest, TheContextMenuOpensOnlyWithACharacterChoosesAgentsAndHidesTheFigure) {
    CharacterFixture empty;
    empty.activate();
    build();
    stage->showContextMenu({100, 100});
    EXPECT_FALSE(QApplication::activePopupWidget());

    fixture.activate();
    stage.reset();
    window.reset();
    onStage();
    const auto open = [&] {
        stage->showContextMenu({400, 400});
        spinUntil([] { return QApplication::activePopupWidget() != nullptr; });
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    };
    const auto choose = [&](QMenu* menu, QAction* item) {
        item->trigger();
        menu->close();
        watch(3);
        return player().sheet()->definition.id;
    };
    // Items as one line: "-" for a separator, "*" after the one that is checked, "()" around
    // one of a group of which only one can be checked, as a radio mark shows it.
    const auto items = [](const QMenu* menu) {
        QStringList out;
        for (const auto* item : menu->actions()) {
            QString text = item->text() + (item->isChecked() ? "*" : "");
            if (item->actionGroup() && item->actionGroup()->isExclusive() && item->isCheckable()) {
                text = "(" + text + ")";
            }
            out << (item->isSeparator() ? "-" : text);
        }
        return out.join('|').toStdString();
    };
    QMenu* menu = open();
    ASSERT_TRUE(menu);
    EXPECT_EQ(items(menu), "Chat with Dorn…|New Conversation|-|Approvals ↗|-|Choose Agent|Settings…|Hide");
    QMenu* agents = menu->actions().at(5)->menu();
    ASSERT_TRUE(agents);
    EXPECT_EQ(items(agents), "(Dorn*)|(Lirra)|(Morvo)|(Pelka)|-|Next Agent");
    QDir().mkpath(MIRK_ARTEFACTS_DIR);
    agents->adjustSize();
    agents->grab().save(QStringLiteral(MIRK_ARTEFACTS_DIR "/agents-menu.png"));
    EXPECT_EQ(agents->actions().at(3)->shortcut(), QKeySequence()) << "no shortcut is held";
    // Only a held shortcut that works is shown.
    std::unique_ptr<HotKey> pelkaKey(HotKey::make(
        HotKey::digit1 + 3, {}, [] {}, nullptr));
    ASSERT_TRUE(pelkaKey);
    menu->close();
    menu = open();
    ASSERT_TRUE(menu);
    agents = menu->actions().at(5)->menu();
    EXPECT_EQ(agents->actions().at(3)->shortcut(), QKeySequence("Ctrl+Alt+4"));
    EXPECT_EQ(agents->actions().at(1)->shortcut(), QKeySequence());
    // Keys the user chose on the desktop are shown instead, as the desktop words them.
    services.hotKeys->wording[services.hotKeys->grabbed.lastKey()] = "Meta+P";
    menu->close();
    menu = open();
    ASSERT_TRUE(menu);
    agents = menu->actions().at(5)->menu();
    EXPECT_EQ(agents->actions().at(3)->shortcut(), QKeySequence("Meta+P"));
    // Wording that names no keys Qt knows stands as it is, in the shortcut column.
    services.hotKeys->wording[services.hotKeys->grabbed.lastKey()] = "Two taps of Super";
    menu->close();
    menu = open();
    ASSERT_TRUE(menu);
    agents = menu->actions().at(5)->menu();
    EXPECT_EQ(agents->actions().at(3)->text(), "Pelka\tTwo taps of Super");
    services.hotKeys->wording.clear();
    EXPECT_EQ(choose(menu, agents->actions().at(3)), "pelka");

    menu = open();
    ASSERT_TRUE(menu);
    EXPECT_EQ(items(menu), "Chat with Pelka…|New Conversation|-|Today's Report|Open Reports Folder|-|Choose "
                           "Agent|Settings…|Hide");
    agents = menu->actions().at(6)->menu();
    EXPECT_EQ(items(agents), "(Dorn)|(Lirra)|(Morvo)|(Pelka*)|-|Next Agent");
    EXPECT_EQ(choose(menu, agents->actions().last()), "dorn") << "the next after the last is the first";

    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    menu = open();
    ASSERT_TRUE(menu);
    EXPECT_EQ(items(menu), "Vestle Dorniga…|Uus vestlus|-|Kinnitused ↗|-|Vali agent|Seaded…|Peida");
    menu->close();
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("en"));

    // "Hide" with the balloon open: the balloon goes first, then the figure.
    stage->say("Hello");
    ASSERT_TRUE(stage->balloonPanel);
    menu = open();
    ASSERT_TRUE(menu);
    menu->actions().last()->trigger();
    menu->close();
    EXPECT_FALSE(stage->balloonPanel);
    EXPECT_EQ(player().currentAnimation(), "Hide");
    EXPECT_FALSE(player().isHidden) << "still on its way out";
    watch(1);
    EXPECT_TRUE(player().isHidden);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(StageTest, TheDropZoneFollowsTheDragAndItsAnimations) {
    onStage();
    stage->isFileDragActive = true;
    stage->updateDropZone();
    EXPECT_EQ(stage->view().dropZone(), CharacterView::DropZone::nearby);
    EXPECT_EQ(player().currentAnimation(), "Wave") << "the first of DropNearby, Wave that dorn has";
    EXPECT_TRUE(player().currentRun()->loops);

    stage->view().onFilesOver(true);
    EXPECT_EQ(stage->view().dropZone(), CharacterView::DropZone::ready);
    EXPECT_EQ(player().currentAnimation(), "DropReady");

    stage->isFileDragActive = false;
    stage->areFilesOver = false;
    stage->updateDropZone();
    EXPECT_EQ(stage->view().dropZone(), CharacterView::DropZone::hidden);
    EXPECT_TRUE(player().currentRun()->isWindingDown);
    watch(1);
    EXPECT_TRUE(player().currentAnimation().isEmpty());

    stage->isReceivingFiles = true;
    stage->isFileDragActive = true;
    stage->updateDropZone();
    EXPECT_EQ(stage->view().dropZone(), CharacterView::DropZone::hidden) << "frozen while receiving";
}
