#include "DesktopDriver.h"

#include "activity/ActivityRecorder.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/VirtualScheduler.h"
#include "platform/Services.h"
#include "platform/linux/KGlobalAccelHotKeys.h"
#include "platform/linux/KWinActiveWindow.h"
#include "platform/linux/WaylandConnection.h"
#include "platform/linux/WaylandIdleTime.h"
#include "settings/SettingsModel.h"
#include "support/CharacterFixture.h"
#include "support/LogCapture.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <map>

using platform::Sight;
using Reach = platform::HotKeyGrabber::Reach;

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

// The program's six shortcuts, held as the program holds them, each counting its presses.
struct SixKeys {
    explicit SixKeys(std::shared_ptr<platform::HotKeyGrabber> grabber) : keys(std::move(grabber)) {
        const std::pair<unsigned, const char*> table[] = {
            {0x20, "Open or close the chat"}, {0xff09, "Bring on the next agent"},
            {0x31, "Bring on Dorn"},          {0x32, "Bring on Lirra"},
            {0x33, "Bring on Morvo"},         {0x34, "Bring on Pelka"}};
        for (const auto& [key, description] : table) {
            ids[key] = keys->grab(key, description, [this, key = key] { ++presses[key]; });
        }
    }
    ~SixKeys() {
        for (const auto& [key, id] : ids) {
            keys->release(id);
        }
    }
    bool works(unsigned key) const { return keys->works(ids.at(key)); }

    std::shared_ptr<platform::HotKeyGrabber> keys;
    std::map<unsigned, int> ids;
    std::map<unsigned, int> presses;
};

// The program as a user starts it on this desktop, with four agents of its own.
class RunningProgram {
public:
    RunningProgram() {
        const QString data = home.path() + "/data/mirkvantle-agents";
        QDir().mkpath(data);
        QSettings settings(home.path() + "/config/Mirk Vantle Agents/Mirk Vantle Agents.ini",
                           QSettings::IniFormat);
        settings.setValue("vantleURL", "http://127.0.0.1:1/app");
        settings.setValue("idleAnimations", false);
        settings.sync();
        for (const char* id : {"dorn", "lirra", "morvo", "pelka"}) {
            fixture.add(id, CharacterFixture::definition(id, 4, 3, 48), [](int, int) { return 255; });
        }
        QFile::link(fixture.path(), data + "/Characters");
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home.path());
        environment.insert("XDG_CONFIG_HOME", home.path() + "/config");
        environment.insert("XDG_DATA_HOME", home.path() + "/data");
        environment.insert("XDG_RUNTIME_DIR", qEnvironmentVariable("MIRK_SESSION_RUNTIME_DIR"));
        // A key, so that the figure does not open with how to connect one.
        environment.insert("VANTLE_DESKTOP_KEY", "a-key-the-workspace-never-sees");
        environment.remove("QT_QPA_PLATFORM"); // the program asks for X11 itself
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(MIRK_APP_PATH, {});
    }
    ~RunningProgram() {
        process.terminate();
        process.waitForFinished(15000);
    }
    // The X window of the program with this title that shows; empty when none does.
    static QString window(const QString& title) {
        return xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"}).section(u'\n', 0, 0);
    }
    static bool shows(const QString& title) { return !window(title).isEmpty(); }
    // The X window that has the keyboard, as the desktop tells its X server.
    static QString active() { return xdotool({"getactivewindow"}); }
    bool stands() const {
        return spinUntil([] { return shows("Dorn"); }, 30000);
    }

private:
    static QString xdotool(const QStringList& arguments) {
        QProcess run;
        run.start("xdotool", arguments);
        run.waitForFinished(10000);
        return QString::fromUtf8(run.readAllStandardOutput()).trimmed();
    }

    QTemporaryDir home;
    CharacterFixture fixture;
    QProcess process;
};

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

    // A native window in front, as the program starts.
    void nativeWindowInFront() {
        desktop.openWindow("test.alpha", "Alpha title", true);
        bringForward("test.alpha", "Alpha Notes");
    }

    // Press (given a shortcut's name) opens the running program's chat, a second press closes it,
    // and the press of Ctrl+Alt+2 brings Lirra.
    void pressesOpenAndCloseTheChat(const std::function<void(const QString&)>& press) {
        press("chat");
        ASSERT_TRUE(spinUntil([&] { return RunningProgram::shows("Mirk Vantle Agents"); }, 10000))
            << "the chat opens";
        ASSERT_TRUE(spinUntil(
            [&] { return RunningProgram::active() == RunningProgram::window("Mirk Vantle Agents"); }, 10000))
            << "and takes the keyboard";
        press("chat");
        EXPECT_TRUE(spinUntil([&] { return !RunningProgram::shows("Mirk Vantle Agents"); }, 10000))
            << "a second press closes it";
        press("agent-2");
        EXPECT_TRUE(spinUntil([&] { return RunningProgram::shows("Lirra"); }, 10000)) << "Lirra comes";
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
    const int chat = keys->grab(0x20, "Open or close the chat", [&] { ++chats; });
    const int lirra = keys->grab(0x32, "Bring on Lirra", [&] { ++lirras; });
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
    desktop.evaluate( // on again for the tests after this one
        QStringLiteral("Main.extensionManager.enableExtension('%1')").arg(MIRK_GNOME_EXTENSION_UUID));
}

// Through the portal the six keys are bound together with their descriptions and the keys asked
// for. A press acts once however often the held key is told, a second press acts again, the menus
// show the keys the desktop reports, a refused key costs only itself, and a session the desktop
// ends leaves none working.
TEST_F(DesktopTest, PortalBindsTheKeysAndEachPressActsOnce) {
    desktop.portal("Refuse", {QStringList{"next-agent"}});
    const auto keys = platform::services().hotKeys;
    ASSERT_EQ(keys->reach(), Reach::portal);
    LogCapture log;
    SixKeys six(keys);
    ASSERT_TRUE(spinUntil([&] { return six.works(0x20); }, 10000));
    EXPECT_TRUE(six.works(0x32));
    EXPECT_FALSE(six.works(0xff09)) << "refused by the desktop";
    EXPECT_EQ(log.lines().filter("refused").size(), 1) << log.lines().join('\n').toStdString();
    const QDBusReply<QStringList> asked = desktop.portal("Asked");
    EXPECT_EQ(asked.value().size(), 6) << "in one request";
    EXPECT_TRUE(asked.value().contains("chat|Open or close the chat|CTRL+ALT+space"));
    EXPECT_TRUE(asked.value().contains("next-agent|Bring on the next agent|CTRL+ALT+Tab"));
    EXPECT_TRUE(asked.value().contains("agent-2|Bring on Lirra|CTRL+ALT+2"));

    desktop.portal("Press", {"chat", 3u});
    desktop.portal("Press", {"agent-2", 0u});
    ASSERT_TRUE(spinUntil([&] { return six.presses[0x32] == 1; }, 10000));
    EXPECT_EQ(six.presses[0x20], 1) << "held and told four times";
    desktop.portal("Press", {"chat", 0u});
    EXPECT_TRUE(spinUntil([&] { return six.presses[0x20] == 2; }, 10000)) << "a second press closes the chat";

    EXPECT_EQ(keys->keys(six.ids[0x20]), "CTRL+ALT+space");
    desktop.portal("Change", {"chat", "Meta+C"});
    EXPECT_TRUE(spinUntil([&] { return keys->keys(six.ids[0x20]) == "Meta+C"; }, 10000));

    bool told = false;
    keys->onReachChanged = [&] { told = true; };
    desktop.portal("EndSessions");
    ASSERT_TRUE(spinUntil([&] { return told; }, 10000));
    EXPECT_EQ(keys->reach(), Reach::ended);
    keys->onReachChanged = nullptr;
    EXPECT_FALSE(six.works(0x20));
    EXPECT_FALSE(six.works(0x32));
}

// The program itself on the desktop, a native window in front: a press through the portal opens
// the chat, a second press closes it, and Ctrl+Alt+2 brings Lirra.
TEST_F(DesktopTest, PortalPressesReachTheRunningProgram) {
    desktop.portal("Refuse", {QStringList{}});
    nativeWindowInFront();
    RunningProgram program;
    ASSERT_TRUE(program.stands());
    bringForward("test.alpha", "Alpha Notes"); // should the figure have taken the keyboard
    ASSERT_TRUE(spinUntil(
        [&] { return desktop.portal("Holders", {"chat"}).arguments().value(0).toUInt() == 1; }, 10000));
    pressesOpenAndCloseTheChat([&](const QString& shortcut) { desktop.portal("Press", {shortcut, 0u}); });
}

// A portal that binds nothing is as good as none: the keys go to X grabs, the next means on this
// desktop, and the move is said once.
TEST_F(DesktopTest, PortalThatBindsNothingPassesTheKeysOn) {
    desktop.portal("Refuse", {QStringList{"*"}});
    const auto keys = platform::services().hotKeys;
    int told = 0;
    keys->onReachChanged = [&] { ++told; };
    LogCapture log;
    SixKeys six(keys);
    ASSERT_TRUE(spinUntil([&] { return keys->reach() == Reach::x11Windows; }, 10000))
        << log.lines().join('\n').toStdString();
    EXPECT_EQ(told, 1) << "an open settings window hears of the change";
    keys->onReachChanged = nullptr;
    EXPECT_TRUE(six.works(0x20));
    EXPECT_TRUE(six.works(0x34));
    EXPECT_EQ(log.lines().filter("bound none").size(), 1) << log.lines().join('\n').toStdString();
}

// The portal going away ends the shortcuts as a closed session does.
TEST_F(DesktopTest, PortalGoingAwayEndsTheShortcuts) {
    desktop.portal("Refuse", {QStringList{}});
    const auto keys = platform::services().hotKeys;
    SixKeys six(keys);
    ASSERT_TRUE(spinUntil([&] { return six.works(0x20); }, 10000));
    const QDBusReply<uint> frontend =
        QDBusConnection::sessionBus().interface()->servicePid("org.freedesktop.portal.Desktop");
    ASSERT_TRUE(frontend.isValid());
    ASSERT_EQ(::kill(static_cast<pid_t>(frontend.value()), SIGTERM), 0);
    ASSERT_TRUE(spinUntil([&] { return keys->reach() == Reach::ended; }, 10000));
    EXPECT_FALSE(six.works(0x20));
}

// On KDE without a portal the keys are registered with KDE's global shortcut service: listed there
// under the program's name and invoked through it. A key another program holds costs only its own
// shortcut.
TEST_F(DesktopTest, KdeShortcutsAreRegisteredWithTheServiceAndInvokedThroughIt) {
    const auto keys = platform::services().hotKeys;
    ASSERT_EQ(keys->reach(), Reach::kdeService);
    const QStringList other{"mirkvantle-test-other", "taken", "Other", "Taken"};
    desktop.shortcutService("/kglobalaccel", "doRegister", {other});
    const int controlAltTab = static_cast<int>(Qt::ControlModifier | Qt::AltModifier) | Qt::Key_Tab;
    const QDBusReply<QList<int>> taken = desktop.shortcutService(
        "/kglobalaccel", "setShortcut", {other, QVariant::fromValue(QList<int>{controlAltTab}), 2u});
    ASSERT_EQ(taken.value(), QList<int>{controlAltTab});
    SixKeys six(keys);
    EXPECT_EQ(six.ids[0xff09], 0) << "held by the other program";
    ASSERT_NE(six.ids[0x20], 0);
    EXPECT_TRUE(six.works(0x20));
    EXPECT_TRUE(six.works(0x32));
    const QString component = "/component/mirkvantle_agents";
    const QDBusReply<QStringList> names = desktop.shortcutService(component, "shortcutNames");
    EXPECT_TRUE(names.value().contains("chat")) << names.value().join(' ').toStdString();
    EXPECT_TRUE(names.value().contains("agent-2"));

    desktop.shortcutService(component, "invokeShortcut", {"chat"});
    ASSERT_TRUE(spinUntil([&] { return six.presses[0x20] == 1; }, 10000));
    desktop.shortcutService(component, "invokeShortcut", {"chat"});
    desktop.shortcutService(component, "invokeShortcut", {"agent-2"});
    ASSERT_TRUE(spinUntil([&] { return six.presses[0x32] == 1; }, 10000));
    EXPECT_EQ(six.presses[0x20], 2) << "a second press closes the chat";
}

// The program itself on KDE: its shortcuts, invoked through KDE's service, open and close the chat
// with a native window in front and bring Lirra.
TEST_F(DesktopTest, KdeShortcutsReachTheRunningProgram) {
    // What a test before registered goes, so that the program's own registration can be awaited.
    const QString component = "/component/mirkvantle_agents";
    const QDBusReply<QStringList> left = desktop.shortcutService(component, "shortcutNames");
    for (const QString& name : left.value()) {
        desktop.shortcutService("/kglobalaccel", "unregister", {"mirkvantle-agents", name});
    }
    nativeWindowInFront();
    RunningProgram program;
    ASSERT_TRUE(program.stands());
    // The program registers its shortcuts one after another and listens from the first on.
    ASSERT_TRUE(spinUntil(
        [&] {
            const QDBusReply<QStringList> names = desktop.shortcutService(component, "shortcutNames");
            return names.value().contains("agent-4");
        },
        10000));
    pressesOpenAndCloseTheChat(
        [&](const QString& shortcut) { desktop.shortcutService(component, "invokeShortcut", {shortcut}); });
}

// The program itself on GNOME: the keys pressed in the shell, with a native window in front, open
// and close its chat and bring Lirra, through its extension.
TEST_F(DesktopTest, GnomeShortcutsReachTheRunningProgram) {
    nativeWindowInFront();
    platform::install({}); // the program's name on the bus is the program's, not this test's
    RunningProgram program;
    ASSERT_TRUE(program.stands());
    ASSERT_TRUE(spinUntil(
        [] {
            return QDBusConnection::sessionBus().interface()->isServiceRegistered("app.mirkvantle.Agents");
        },
        10000));
    pressesOpenAndCloseTheChat([&](const QString& shortcut) {
        desktop.pressInShell({"Control_L", "Alt_L", shortcut == "chat" ? "space" : shortcut.right(1)});
    });
}

// sway binds nothing for the program: the lines that the settings window offers, put into sway's
// configuration, reach the running program through the desktop's opener while a native window
// has the keyboard.
TEST_F(DesktopTest, SwayRunsTheOfferedLinesThroughTheOpener) {
    // The program's desktop entry as the package installs it, and the handler of its links.
    const QString home = qEnvironmentVariable("MIRK_SESSION_HOME");
    QFile installed(QStringLiteral(MIRK_SOURCE_DIR) + "/resources/mirkvantle-agents.desktop");
    ASSERT_TRUE(installed.open(QIODevice::ReadOnly));
    const QString applications = home + "/.local/share/applications";
    QDir().mkpath(applications);
    QFile entry(applications + "/mirkvantle-agents.desktop");
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
    entry.write(QString::fromUtf8(installed.readAll())
                    .replace("Exec=mirkvantle-agents", QStringLiteral("Exec=") + MIRK_APP_PATH)
                    .toUtf8());
    entry.close();
    QProcess mime;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", home);
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
        environment.remove(name);
    }
    mime.setProcessEnvironment(environment);
    mime.start("xdg-mime", {"default", "mirkvantle-agents.desktop", "x-scheme-handler/mirkvantle"});
    ASSERT_TRUE(mime.waitForFinished(10000) && mime.exitCode() == 0);

    nativeWindowInFront();
    RunningProgram program;
    ASSERT_TRUE(program.stands());
    bringForward("test.alpha", "Alpha Notes");
    for (const QString& line : SettingsModel::compositorLines().split(u'\n')) {
        ASSERT_TRUE(desktop.swayCommand(line)) << line.toStdString();
    }
    desktop.pressThroughCompositor("space");
    ASSERT_TRUE(spinUntil([&] { return RunningProgram::shows("Mirk Vantle Agents"); }, 15000))
        << "the chat opens";
    desktop.pressThroughCompositor("2");
    EXPECT_TRUE(spinUntil([&] { return RunningProgram::shows("Lirra"); }, 15000)) << "Lirra comes";
}

// KDE's shortcut service on its own, as on Plasma's X11 session (here on the desktop's X server,
// where it grabs the keys itself, while an X window has the keyboard): real presses reach the program, a key
// held past the keyboard's repeat acts once, and when the service goes away the shortcuts stop working until
// it is back and has been given them again.
TEST_F(DesktopTest, KdeServiceOnItsOwnHeldKeyActsOnceAndAServiceBackHasTheKeysAgain) {
    const auto bus = QDBusConnection::sessionBus();
    QProcess service;
    const auto start = [&] {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "xcb");
        service.setProcessEnvironment(environment);
        service.start("kglobalaccel5", {});
        return spinUntil([&] { return platform::KGlobalAccelHotKeys::available(bus); }, 10000);
    };
    desktop.openWindow("test.gamma", "Gamma X11 title", false);
    bringForward("test.gamma", "Gamma Desk");
    desktop.resetXKeyboard();
    ASSERT_TRUE(start());
    const auto keys = std::make_shared<platform::KGlobalAccelHotKeys>(bus);
    SixKeys six(keys);
    ASSERT_TRUE(six.works(0x20));
    // The service grabs a key on the X server a moment after it has taken the shortcut: a press
    // before that is not its. Pressed until heard; what counts is the presses after that.
    const auto heard = [&](const QString& combination, unsigned key) {
        const int before = six.presses[key];
        for (int attempt = 0; attempt < 10; ++attempt) {
            desktop.pressOnX({"key", combination});
            if (spinUntil([&] { return six.presses[key] > before; }, 1000)) {
                return true;
            }
        }
        return false;
    };
    // Presses are told in the order they were made, so a later key heard means that every
    // earlier press has been told too, a slow one that was pressed again included.
    ASSERT_TRUE(heard("ctrl+alt+space", 0x20));
    ASSERT_TRUE(heard("ctrl+alt+2", 0x32));
    const int space = six.presses[0x20];
    desktop.pressOnX({"keydown", "ctrl+alt+space"});
    spinFor(1500); // the hold is what is tested: the X server repeats the key past its delay
    desktop.pressOnX({"keyup", "space", "keyup", "alt", "keyup", "ctrl"});
    ASSERT_TRUE(heard("ctrl+alt+3", 0x33));
    EXPECT_EQ(six.presses[0x20], space + 1) << "the held press acted once";

    service.terminate();
    ASSERT_TRUE(service.waitForFinished(10000));
    ASSERT_TRUE(spinUntil([&] { return !six.works(0x20); }, 10000)) << "the menus stop showing the keys";
    ASSERT_TRUE(start());
    ASSERT_TRUE(spinUntil([&] { return six.works(0x20); }, 10000));
    EXPECT_TRUE(heard("ctrl+alt+2", 0x32));
    service.terminate();
    service.waitForFinished(10000);
}

} // namespace
