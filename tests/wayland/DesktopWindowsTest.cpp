#include "DesktopDriver.h"

#include "activity/ActivityRecorder.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/VirtualScheduler.h"
#include "platform/Services.h"
#include "platform/linux/KWinActiveWindow.h"
#include "platform/linux/WaylandConnection.h"
#include "platform/linux/WaylandIdleTime.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

using platform::Sight;

namespace {

// Desktop entries that name the test's windows, as installed programs' entries do.
void writeEntries() {
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/applications";
    QDir().mkpath(folder);
    const std::pair<const char*, const char*> entries[] = {
        {"test.alpha.desktop", "[Desktop Entry]\nType=Application\nName=Alpha Notes\nExec=alpha\n"},
        {"gamma-desk.desktop",
         "[Desktop Entry]\nType=Application\nName=Gamma Desk\nExec=gamma\nStartupWMClass=Test.gamma\n"}};
    for (const auto& [name, text] : entries) {
        QFile file(folder + "/" + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
}

// What the window in front is, by the name the record gives it; empty when nothing is seen.
QString frontName() {
    const auto front = platform::services().activeWindow->frontmost();
    return front ? front->name : QString();
}

class DesktopTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        Settings::setValue(QLatin1String(Settings::Key::recordActivity), true);
        Settings::setValue(QLatin1String(Settings::Key::recordWindowTitles), true);
        writeEntries();
        // The program's own choice of sources for this session.
        platform::install(platform::systemServices());
        ASSERT_TRUE(platform::services().activeWindow);
        ASSERT_TRUE(spinUntil(
            [] { return platform::services().activeWindow->sight().reach == Sight::Reach::allWindows; },
            20000))
            << "the record sees every window on " << DesktopDriver::desktop().toStdString();
    }

    void TearDown() override { platform::install({}); }

    // Brings the window forward and waits until the source says so; a window just opened may not
    // be known to the desktop at the first asking.
    void bringForward(const QString& appID, const QString& name) {
        ASSERT_TRUE(spinUntil(
            [&] {
                desktop.focus(appID);
                return spinUntil([&] { return frontName() == name; }, 500);
            },
            20000))
            << name.toStdString() << " is not in front; the source says " << frontName().toStdString();
    }

    DesktopDriver desktop;
};

TEST_F(DesktopTest, RecordHoldsNativeAndX11WindowsByNameWithTitles) {
    const QDateTime start(QDate(2026, 11, 24), QTime(10, 0));
    base::VirtualScheduler scheduler(start);
    ActivityRecorder recorder;
    recorder.start();

    desktop.openWindow("test.alpha", "Alpha title", true);
    bringForward("test.alpha", "Alpha Notes");
    scheduler.advance(30);
    desktop.openWindow("test.gamma", "Gamma X11 title", false);
    bringForward("test.gamma", "Gamma Desk");
    EXPECT_EQ(platform::services().activeWindow->focusedWindowTitle(), "Gamma X11 title");
    scheduler.advance(40);
    bringForward("test.alpha", "Alpha Notes");
    scheduler.advance(10);
    recorder.closeCurrent(base::Clock::now());

    const auto spans = ActivityRecorder::loggedSpans(start.date());
    ASSERT_EQ(spans.size(), 3);
    EXPECT_EQ(spans[0].app, "Alpha Notes");
    EXPECT_EQ(spans[0].title, "Alpha title");
    EXPECT_EQ(spans[0].start.secsTo(spans[0].end), 30);
    EXPECT_EQ(spans[1].app, "Gamma Desk");
    EXPECT_EQ(spans[1].title, "Gamma X11 title");
    EXPECT_EQ(spans[1].start.secsTo(spans[1].end), 40);
    EXPECT_EQ(spans[2].app, "Alpha Notes");
    EXPECT_EQ(spans[2].start.secsTo(spans[2].end), 10);
}

// Idle time counts from the last input the desktop saw, and input sets it back to none.
TEST_F(DesktopTest, IdleTimeCountsFromTheLastInput) {
    std::shared_ptr<platform::IdleTime> idle = platform::services().idleTime;
    // A short threshold where the compositor tells, so the test need not wait ten seconds.
    if (DesktopDriver::desktop() != QLatin1String("gnome")) {
        idle = platform::WaylandIdleTime::create(platform::WaylandConnection::open(), 1);
    }
    ASSERT_TRUE(idle);
    desktop.input();
    ASSERT_TRUE(spinUntil([&] { return idle->secondsSinceLastInput() < 1; }, 10000));
    QElapsedTimer sinceInput;
    sinceInput.start();
    ASSERT_TRUE(spinUntil([&] { return idle->secondsSinceLastInput() >= 1.5; }, 20000));
    const double told = idle->secondsSinceLastInput();
    const double seen = sinceInput.elapsed() / 1000.0;
    EXPECT_LE(told, seen + 0.5) << "no more idle time than has passed since the input";
    EXPECT_GE(told, seen - 1.5) << "the desktop counts from the last input, not from when it told";
    desktop.input();
    EXPECT_TRUE(spinUntil([&] { return idle->secondsSinceLastInput() < 1; }, 10000));
}

// KWin runs the program's script while the program runs, and forgets it when the program quits.
TEST_F(DesktopTest, KWinScriptIsUnloadedAtQuit) {
    const auto loaded = [] {
        auto message = QDBusMessage::createMethodCall("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting",
                                                      "isScriptLoaded");
        message.setArguments({QStringLiteral("mirkvantle-agents-front")});
        const QDBusReply<bool> reply = QDBusConnection::sessionBus().call(message);
        return reply.isValid() && reply.value();
    };
    EXPECT_TRUE(loaded());
    platform::install({});
    EXPECT_FALSE(loaded());
}

// Without the extension on, the record says it sees nothing and how to fix it; the program's own
// button turns it on and the record sees again.
TEST_F(DesktopTest, GnomeExtensionTurnedOffIsSaidAndTurnedOnFromTheProgram) {
    const auto window = platform::services().activeWindow;
    const QString uuid = MIRK_GNOME_EXTENSION_UUID;
    desktop.evaluate(QStringLiteral("Main.extensionManager.disableExtension('%1')").arg(uuid));
    ASSERT_TRUE(spinUntil([&] { return window->sight().cause == Sight::Cause::extensionOff; }, 20000));
    EXPECT_EQ(frontName(), QString()) << "nothing is guessed while the extension is off";
    window->turnOn();
    ASSERT_TRUE(spinUntil([&] { return window->sight().reach == Sight::Reach::allWindows; }, 20000));
    desktop.openWindow("test.alpha", "Alpha title", true);
    bringForward("test.alpha", "Alpha Notes");
}

// Ctrl+Alt+Space and the agents' keys reach the program while a native window has the keyboard;
// a held key acts once, and nobody but the shell can press them for the user.
TEST_F(DesktopTest, GnomeShortcutsReachTheProgramOnceWhateverWindowHasTheKeyboard) {
    const auto keys = platform::services().hotKeys;
    ASSERT_TRUE(keys);
    int chats = 0;
    int lirras = 0;
    const int chat = keys->grab(0x20, [&] { ++chats; });
    const int lirra = keys->grab(0x32, [&] { ++lirras; });
    ASSERT_NE(chat, 0);
    EXPECT_TRUE(keys->works(chat));
    desktop.openWindow("test.alpha", "Alpha title", true);
    bringForward("test.alpha", "Alpha Notes");

    desktop.pressInShell({"Control_L", "Alt_L", "space"}, 1500);
    ASSERT_TRUE(spinUntil([&] { return chats > 0; }, 10000));
    desktop.pressInShell({"Control_L", "Alt_L", "2"});
    ASSERT_TRUE(spinUntil([&] { return lirras > 0; }, 10000));
    EXPECT_EQ(chats, 1) << "held for a second and a half, past the keyboard's repeat";
    EXPECT_EQ(lirras, 1);

    auto message = QDBusMessage::createMethodCall("app.mirkvantle.Agents", "/app/mirkvantle/Agents/Shortcuts",
                                                  "app.mirkvantle.Agents.Shortcuts", "Activate");
    message.setArguments({QStringLiteral("chat")});
    EXPECT_EQ(QDBusConnection::sessionBus().call(message).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(chats, 1) << "another program cannot press the keys";

    desktop.evaluate(
        QStringLiteral("Main.extensionManager.disableExtension('%1')").arg(MIRK_GNOME_EXTENSION_UUID));
    EXPECT_TRUE(spinUntil([&] { return !keys->works(chat); }, 10000)) << "the menus stop showing the keys";
    keys->release(chat);
    keys->release(lirra);
}

} // namespace
