#include "time/StatusMenu.h"
#include "app/AppDelegate.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "character/CharacterPlayer.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "time/TimeTracker.h"
#include "time/TrayArtwork.h"
#include "workspace/Keychain.h"

#include <QApplication>
#include <QJsonArray>
#include <QMenu>

namespace {

const QString statePath = QStringLiteral("/api/time/state");
const QString entriesPath = QStringLiteral("/api/time/entries");

// The rows of a menu as the user reads them: "-" for a separator, a shortcut after a tab, and
// a tick before a checked row.
QStringList rows(const QMenu& menu) {
    QStringList out;
    for (const auto* action : menu.actions()) {
        if (action->isSeparator()) {
            out << QStringLiteral("-");
            continue;
        }
        QString text = action->text();
        if (action->isChecked()) {
            text.prepend(QStringLiteral("✓ "));
        }
        if (!action->shortcut().isEmpty()) {
            text += QLatin1Char('\t') + action->shortcut().toString();
        }
        out << text;
    }
    return out;
}

QAction* row(const QMenu& menu, const QString& startingWith) {
    for (auto* action : menu.actions()) {
        if (!action->isSeparator() && action->text().startsWith(startingWith)) {
            return action;
        }
    }
    return nullptr;
}

// The status menu of a program whose stage is the fixture's, with Pelka installed as well.
class StatusMenuTest : public StageFixture {
protected:
    void SetUp() override {
        StageFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        auto pelka = CharacterFixture::definition("pelka", 4, 3, 25);
        auto animations = pelka.value("animations").toObject();
        animations.insert("Explain", QJsonArray{QJsonObject{{"cell", 1}, {"ms", 200}}});
        pelka.insert("animations", animations);
        characters.add("pelka", pelka);
        characters.activate();
        TimeTracker::shared().forgetWorkspace();
        app = std::make_unique<AppDelegate>();
        app->stage = stage.get();
        app->window = window.get();
        status = std::make_unique<StatusMenu>(stage.get());
        ASSERT_TRUE(spinUntil([] { return TimeTracker::shared().state.has_value(); }));
    }
    void TearDown() override {
        status.reset();
        if (app) {
            app->stage = nullptr;
            app->window = nullptr;
            app.reset();
        }
        // The tracker's poll ends with this test's time; a read under way finishes first.
        TimeTracker::shared().forgetWorkspace();
        spinFor(200);
        StageFixture::TearDown();
    }
    // The menu as it opens now.
    QStringList opened() {
        status->menuNeedsUpdate();
        return rows(status->menu);
    }

    std::unique_ptr<AppDelegate> app;
    std::unique_ptr<StatusMenu> status;
};

} // namespace

TEST_F(StatusMenuTest, TheRowsFollowTheTimerInBothLanguagesAndTheIconShowsItRunning) {
    const QStringList idle = opened();
    EXPECT_EQ(idle, (QStringList{"Chat…", "New Conversation", "-", "Start Timer", "-",
                                 "Agents", "Hide Agent", "-", "Open Vantle", "Mute Sounds", "Settings…", "-",
                                 "Quit Mirk Vantle Agents"}));
    EXPECT_FALSE(status->showsRunning);
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents");
    for (int i = 0; i < 3; ++i) {
        status->menuNeedsUpdate();
    }
    EXPECT_EQ(status->menu.findChildren<QMenu*>().size(), 2) << "each opening builds its two submenus anew";

    // Started from the submenu; the notice is Pelka's, and Dorn is on stage, so none shows.
    QMenu* start = row(status->menu, "Start Timer")->menu();
    ASSERT_TRUE(start);
    EXPECT_EQ(rows(*start), (QStringList{"Without a Project", "Other Project…"}));
    row(*start, "Without a Project")->trigger();
    ASSERT_TRUE(spinUntil([&] { return countOf("POST", entriesPath) == 1; }));
    ASSERT_TRUE(spinUntil([&] { return status->showsRunning; }));
    EXPECT_FALSE(stage->balloonPanel);
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents\nTimer: 0:00 · Without a project");
    EXPECT_EQ(opened()[3], "Stop Timer — Without a project · 0:00");

    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    EXPECT_EQ(opened(),
              (QStringList{"Vestle…", "Uus vestlus", "-", "Peata taimer — Projektita · 0:00",
                           "-", "Agendid", "Peida agent", "-", "Ava Vantle", "Vaigista helid", "Seaded…", "-",
                           "Sulge Mirk Vantle Agents"}));
    status->showTimer();
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents\nTaimer: 0:00 · Projektita");

    // Stopped from the menu with Pelka on stage: her notice says what was spent.
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("en"));
    stage->bringOn("pelka");
    ASSERT_TRUE(runUntil([&] { return stage->vantleAgent() == VantleAgent::pelka; }));
    status->menuNeedsUpdate();
    row(status->menu, "Stop Timer")->trigger();
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && message().startsWith("Stopped: "); }));
    EXPECT_EQ(message(), "Stopped: Without a project — 0:00");
    ASSERT_TRUE(spinUntil([&] { return !status->showsRunning; }));
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents");
    stage->closeChat();

    // A recent entry without a project is the fixed row, not offered twice; a long label is cut
    // in the title only.
    refreshed();
    ASSERT_EQ(TimeTracker::shared().recent.size(), 1);
    status->menuNeedsUpdate();
    start = row(status->menu, "Start Timer")->menu();
    ASSERT_TRUE(start);
    EXPECT_EQ(rows(*start), (QStringList{"Without a Project", "Other Project…"}));
    TimeEntry like;
    like.note = QStringLiteral("Nineteen characters"); // 19
    stage->startTimer(like);
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && message().startsWith("Timer started: "); }));
    EXPECT_EQ(message(), "Timer started: Nineteen characters");
    ASSERT_TRUE(spinUntil([&] { return status->item.toolTip().contains("Nineteen"); }));
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents\nTimer: 0:00 · Nineteen characters");

    // The workspace switches time tracking off while an entry runs: only the icon, no timer rows.
    fault(statePath,
          {{"status", 200},
           {"json", QJsonObject{{"enabled", false},
                                {"active", QJsonObject{{"id", "x"}, {"startedAt", "2026-01-01T00:00:00Z"}}},
                                {"serverTime", "2026-01-01T00:00:00Z"}}},
           {"times", 1}});
    refreshed();
    EXPECT_FALSE(status->showsRunning);
    EXPECT_EQ(opened().mid(2, 2), (QStringList{"-", "Agents"}));

    // Without a desktop key: no timer rows either, the icon plain at once, and a hidden figure
    // offers itself back.
    stage->closeChat();
    stage->startTimer(std::nullopt);
    ASSERT_TRUE(spinUntil([&] { return status->showsRunning; }));
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && message().startsWith("Timer started"); }));
    stage->closeChat();
    services.secretStore->secrets.remove(QLatin1String(Keychain::desktopKeyAccount));
    TimeTracker::shared().forgetWorkspace();
    EXPECT_FALSE(status->showsRunning) << "the key is gone: no frozen green clock";
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents\nNot connected to Vantle");
    stage->playerWantsToDisappear(stage->player());
    run(3);
    const QStringList keyless = opened();
    EXPECT_EQ(keyless.mid(2, 3), (QStringList{"-", "Agents", "Show Agent"}));
    row(status->menu, "Show Agent")->trigger();
    run(3);
    EXPECT_FALSE(stage->player().isHidden);
}

TEST_F(StatusMenuTest, TheTrayCountsTheWaitingNoticesAndShowsTheNextOneAtOnce) {
    stage->openChat(true);
    push({{"agentId", "dorn"}, {"title", "First"}, {"message", "One"}});
    push({{"agentId", "dorn"}, {"title", "Second"}, {"message", "Two"}});
    ASSERT_TRUE(runUntil([&] { return status->showsWaiting == 2; }));
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents\nWaiting: 2");
    EXPECT_EQ(opened().first(), "Waiting (2)");
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    EXPECT_EQ(opened().first(), "Ootel (2)");
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("en"));

    // The row shows the oldest at once, over the open chat.
    row(status->menu, "Ootel")->trigger();
    EXPECT_EQ(message(), "One");
    EXPECT_EQ(status->showsWaiting, 1);
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents\nWaiting: 1");
    ASSERT_TRUE(runUntil([&] { return message() == "Two"; }));
    EXPECT_EQ(status->showsWaiting, 0);
    EXPECT_EQ(status->item.toolTip(), "Mirk Vantle Agents");
    EXPECT_EQ(opened().first(), "Chat…");

    // The count is drawn on the icon: red in the lower right, none without waiting notices.
    const auto red = [](const QImage& image) {
        int count = 0;
        for (int y = image.height() / 2; y < image.height(); ++y) {
            for (int x = image.width() / 2; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                count += c.alpha() > 200 && c.red() > c.green() + 120 ? 1 : 0;
            }
        }
        return count;
    };
    for (const int size : TrayArtwork::sizes) {
        EXPECT_GT(red(TrayArtwork::image(size, false, 3)), size) << size;
        EXPECT_EQ(red(TrayArtwork::image(size, true, 0)), 0) << size;
    }
}

TEST_F(StatusMenuTest, MuteSilencesAtOnceAndTheArtworkHasARimAtEverySize) {
    services.speech->calls.clear();
    status->menuNeedsUpdate();
    row(status->menu, "Mute Sounds")->trigger();
    EXPECT_TRUE(stage->player().isMuted);
    EXPECT_TRUE(Settings::boolValue(QLatin1String(Settings::Key::isMuted)));
    EXPECT_EQ(services.speech->calls, QStringList{"stop"}) << "speech ends at once";
    status->menuNeedsUpdate();
    EXPECT_TRUE(row(status->menu, "Mute Sounds")->isChecked());
    row(status->menu, "Mute Sounds")->trigger();
    EXPECT_FALSE(stage->player().isMuted);
    EXPECT_FALSE(Settings::boolValue(QLatin1String(Settings::Key::isMuted)));
    EXPECT_EQ(services.speech->calls, QStringList{"stop"}) << "unmuting says nothing";

    // Light fill and dark rim at every size, so the icon shows on any panel; green while running.
    for (const int size : TrayArtwork::sizes) {
        for (const bool running : {false, true}) {
            const QImage image = TrayArtwork::image(size, running, 0);
            int light = 0, dark = 0, green = 0;
            for (int y = 0; y < size; ++y) {
                for (int x = 0; x < size; ++x) {
                    const QColor c = image.pixelColor(x, y);
                    if (c.alpha() < 200) {
                        continue;
                    }
                    dark += c.lightness() < 60 ? 1 : 0;
                    light += c.lightness() > 200 ? 1 : 0;
                    green += c.green() > c.red() + 80 ? 1 : 0;
                }
            }
            EXPECT_GT(dark, size) << size;
            EXPECT_GT(running ? green : light, size * size / 5) << size << running;
            EXPECT_EQ(running ? light : green, 0) << size << running;
            EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0) << "a free corner";
        }
    }
}
