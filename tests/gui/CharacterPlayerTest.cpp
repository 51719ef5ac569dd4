#include "character/CharacterPlayer.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/VirtualScheduler.h"
#include "character/CharacterView.h"
#include "platform/fake/FakeServices.h"
#include "support/CharacterFixture.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>

#include <gtest/gtest.h>

namespace {

QJsonObject step(int cell, int ms, const QString& sound = {}) {
    QJsonObject s{{"cell", cell}, {"ms", ms}};
    if (!sound.isEmpty()) {
        s.insert("sound", sound);
    }
    return s;
}

class CharacterPlayerTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        auto d = CharacterFixture::definition("dorn");
        auto animations = d.value("animations").toObject();
        animations.remove("Empty"); // a playful pick of it would play nothing
        animations.insert("Slow", QJsonArray{step(1, 500), step(2, 500)});
        animations.insert("Quick", QJsonArray{step(1, 40), step(2, 40)});
        animations.insert("Zero", QJsonArray{step(1, 0), step(2, 0)});
        animations.insert("Chime", QJsonArray{step(1, 100, "chime"), step(2, 100)});
        animations.insert("IdleOne", QJsonArray{step(3, 100)});
        animations.insert("IdleTwo", QJsonArray{step(4, 100)});
        animations.insert("IdleThree", QJsonArray{step(5, 100)});
        d.insert("animations", animations);
        d.insert("idle", QJsonArray{QJsonArray{"IdleOne"}, QJsonArray{"IdleTwo"}, QJsonArray{"IdleThree"}});
        fixture.add("dorn", d);
        fixture.activate();
    }

    platform::fake::FakeServices services;
    base::VirtualScheduler scheduler;
    CharacterFixture fixture;
    CharacterView view;
};

} // namespace

TEST_F(CharacterPlayerTest, SwitchingPutsTheCharacterAtRestAndAnUnknownOneChangesNothing) {
    CharacterPlayer player(view);
    int poses = 0;
    view.onPoseChange = [&] { ++poses; };
    ASSERT_TRUE(player.switchTo("dorn"));
    EXPECT_EQ(view.sheet(), player.sheet());
    EXPECT_EQ(view.cell(), 0);
    EXPECT_EQ(poses, 1);
    EXPECT_FALSE(player.switchTo("nobody"));
    EXPECT_EQ(player.sheet()->definition.id, "dorn");
}

TEST_F(CharacterPlayerTest, ANewPlayReplacesTheRunAndItsCompletionsNeverRun) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    int first = 0;
    int second = 0;
    ASSERT_TRUE(player.play({"Wave"}, false, [&] { ++first; }));
    scheduler.advance(0.15);
    ASSERT_TRUE(player.play({"Show"}, false, [&] { ++second; }));
    scheduler.advance(5);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    EXPECT_TRUE(player.currentAnimation().isEmpty());
    EXPECT_EQ(view.cell(), 0) << "the run ends on its last cell";
}

TEST_F(CharacterPlayerTest, UnknownNamesCompleteAtOnceAndLeaveTheRunAlone) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    ASSERT_TRUE(player.play({"Slow"}, true));
    int called = 0;
    EXPECT_FALSE(player.play({"Nope", "Neither"}, false, [&] { ++called; }));
    EXPECT_EQ(called, 1);
    EXPECT_EQ(player.currentAnimation(), "Slow");
    EXPECT_TRUE(player.play({"Nope", "Wave"}));
    EXPECT_EQ(player.currentAnimation(), "Wave") << "the first name the character has";
}

TEST_F(CharacterPlayerTest, StopWithoutARunCallsThenAtOnce) {
    CharacterPlayer player(view);
    int called = 0;
    player.stop([&] { ++called; });
    EXPECT_EQ(called, 1);
}

TEST_F(CharacterPlayerTest, WindingDownShortensLongStepsTo90MsAndKeepsShortOnes) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    int slowDone = 0;
    ASSERT_TRUE(player.play({"Slow"}, true));
    scheduler.advance(0.1);
    player.stop([&] { ++slowDone; });
    // The step under way keeps its 500 ms; the last one of the pass stands 90 ms.
    scheduler.advance(0.4);
    EXPECT_EQ(view.cell(), 2);
    scheduler.advance(0.085);
    EXPECT_EQ(slowDone, 0);
    scheduler.advance(0.01);
    EXPECT_EQ(slowDone, 1);

    int quickDone = 0;
    ASSERT_TRUE(player.play({"Quick"}, true));
    scheduler.advance(0.01);
    player.stop([&] { ++quickDone; });
    scheduler.advance(0.065);
    EXPECT_EQ(quickDone, 0);
    scheduler.advance(0.01);
    EXPECT_EQ(quickDone, 1);
}

TEST_F(CharacterPlayerTest, AStepOfZeroMsStillTakesTenMs) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    int done = 0;
    ASSERT_TRUE(player.play({"Zero"}, false, [&] { ++done; }));
    EXPECT_EQ(view.cell(), 1);
    scheduler.advance(0.009);
    EXPECT_EQ(view.cell(), 1);
    scheduler.advance(0.002);
    EXPECT_EQ(view.cell(), 2);
    EXPECT_EQ(done, 0);
    scheduler.advance(0.01);
    EXPECT_EQ(done, 1);
}

TEST_F(CharacterPlayerTest, ALoopSoundsOnItsFirstPassOnlyAndAMutedPlayerNever) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    QStringList cues;
    player.onCue = [&](const QString& sound) { cues << sound; };
    ASSERT_TRUE(player.play({"Chime"}, true));
    scheduler.advance(1.0);
    EXPECT_EQ(cues, QStringList{"chime"});

    Settings::setValue(QLatin1String(Settings::Key::isMuted), true);
    CharacterPlayer muted(view);
    ASSERT_TRUE(muted.isMuted);
    ASSERT_TRUE(muted.switchTo("dorn"));
    int mutedCues = 0;
    muted.onCue = [&](const QString&) { ++mutedCues; };
    ASSERT_TRUE(muted.play({"Chime"}));
    scheduler.advance(1.0);
    EXPECT_EQ(mutedCues, 0);
    EXPECT_EQ(view.cell(), 2) << "the animation still plays";
}

TEST_F(CharacterPlayerTest, IdleLevelsChangeAfter120AndAfter300Seconds) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    player.isHidden = false;
    const auto idleAfter = [&](qint64 ms) {
        scheduler.advance(1); // whatever played has ended
        player.lastInteraction = base::Clock::now().addMSecs(-ms);
        player.scheduleIdle(0);
        scheduler.advance(0);
        return player.currentAnimation();
    };
    EXPECT_EQ(idleAfter(60'000), "IdleOne");
    EXPECT_EQ(idleAfter(120'000), "IdleOne");
    EXPECT_EQ(idleAfter(120'001), "IdleTwo");
    EXPECT_EQ(idleAfter(300'000), "IdleTwo");
    EXPECT_EQ(idleAfter(300'001), "IdleThree");
}

TEST_F(CharacterPlayerTest, TheIdleClockWaitsForARunAndNeverStops) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    player.isHidden = false;
    ASSERT_TRUE(player.play({"Slow"}, true));
    player.scheduleIdle(0);
    scheduler.advance(0);
    EXPECT_EQ(player.currentAnimation(), "Slow") << "a run in progress is left alone";
    scheduler.advance(5);
    EXPECT_EQ(player.currentAnimation(), "Slow");
    player.stop();
    scheduler.advance(1);
    ASSERT_TRUE(player.currentAnimation().isEmpty());
    scheduler.advance(4);
    EXPECT_EQ(player.currentAnimation(), "IdleOne") << "checked again five seconds later";
}

TEST_F(CharacterPlayerTest, WithIdleAnimationsOffNothingPlaysByItselfButPlaySomethingWorks) {
    Settings::setValue(QLatin1String(Settings::Key::idleAnimations), false);
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    player.isHidden = false;
    player.scheduleIdle(0);
    for (int i = 0; i < 20; ++i) {
        scheduler.advance(30);
        EXPECT_TRUE(player.currentAnimation().isEmpty());
    }
    player.playSomething();
    const auto playful = player.sheet()->playfulAnimations();
    EXPECT_TRUE(playful.contains(player.currentAnimation())) << player.currentAnimation().toStdString();
    EXPECT_EQ(player.lastInteraction, base::Clock::now());
}

TEST_F(CharacterPlayerTest, AHiddenFigureDoesNothingByItself) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    ASSERT_TRUE(player.isHidden);
    player.scheduleIdle(0);
    scheduler.advance(600);
    EXPECT_TRUE(player.currentAnimation().isEmpty());
    EXPECT_GE(scheduler.pending(), 1) << "the idle clock goes on";
}

TEST_F(CharacterPlayerTest, AStepWithoutACellHidesTheFigure) {
    CharacterPlayer player(view);
    ASSERT_TRUE(player.switchTo("dorn"));
    ASSERT_TRUE(player.play({"Hide"}));
    EXPECT_EQ(view.cell(), 1);
    scheduler.advance(0.1);
    EXPECT_FALSE(view.cell());
}
