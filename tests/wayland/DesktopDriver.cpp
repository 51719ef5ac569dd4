#include "DesktopDriver.h"

#include "support/SpinUntil.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

QDBusConnection session() {
    return QDBusConnection::sessionBus();
}

QDBusMessage call(const QString& service, const QString& path, const QString& interface,
                  const QString& method, const QVariantList& arguments = {}) {
    auto message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return session().call(message, QDBus::Block, 10000);
}

// The program's exit status; -1 when it did not end.
int run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000)) {
        return -1;
    }

    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// KWin runs scripts from files; a one-shot script is loaded, started and unloaded.
void runKWinScript(const QString& source) {
    QTemporaryFile file(QDir::tempPath() + QStringLiteral("/kwin-XXXXXX.js"));
    ASSERT_TRUE(file.open());
    file.write(source.toUtf8());
    file.flush();
    const QString scripting = QStringLiteral("org.kde.kwin.Scripting");
    const QString name = QStringLiteral("mirkvantle-test-once");
    const QDBusReply<int> id = call(QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"), scripting,
                                    QStringLiteral("loadScript"), {file.fileName(), name});
    ASSERT_TRUE(id.isValid()) << id.error().message().toStdString();
    call(QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"), scripting, QStringLiteral("start"));
    call(QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"), scripting,
         QStringLiteral("unloadScript"), {name});
}

} // namespace

DesktopDriver::DesktopDriver() = default;

DesktopDriver::~DesktopDriver() {
    for (auto& window : windows) {
        window->kill();
        window->waitForFinished(5000);
    }
}

QString DesktopDriver::desktop() {
    return qEnvironmentVariable("MIRK_DESKTOP");
}

void DesktopDriver::openWindow(const QString& appID, const QString& title, bool native) {
    auto process = std::make_unique<QProcess>();
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GDK_BACKEND"),
                       native ? QStringLiteral("wayland") : QStringLiteral("x11"));
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral("python3"),
                   {qEnvironmentVariable("MIRK_HELPERS") + QStringLiteral("/window.py"), appID, title});
    QProcess* raw = process.get();
    windows.push_back(std::move(process));
    ASSERT_TRUE(
        spinUntil([raw] { return raw->canReadLine() || raw->state() == QProcess::NotRunning; }, 20000));
    ASSERT_EQ(raw->readLine().trimmed(), "shown") << raw->readAllStandardError().toStdString();
}

void DesktopDriver::focus(const QString& appID) {
    const QString name = desktop();
    if (name == QLatin1String("sway")) {
        // sway names a native window by its app id and an X window by its class.
        const QString pattern = QStringLiteral("\"(?i)^%1$\"] focus").arg(QRegularExpression::escape(appID));
        if (run(QStringLiteral("swaymsg"), {QStringLiteral("[app_id=") + pattern}) != 0) {
            run(QStringLiteral("swaymsg"), {QStringLiteral("[class=") + pattern});
        }
    } else if (name == QLatin1String("kde")) {
        runKWinScript(QStringLiteral("var all = workspace.clientList();\n"
                                     "for (var i = 0; i < all.length; ++i)\n"
                                     "    if (String(all[i].resourceClass).toLowerCase() == \"%1\")\n"
                                     "        workspace.activeClient = all[i];\n")
                          .arg(appID.toLower()));
    } else {
        evaluate(QStringLiteral("global.get_window_actors().map(a => a.meta_window)"
                                ".find(w => (w.get_wm_class() || '').toLowerCase() === '%1')"
                                ".activate(global.get_current_time())")
                     .arg(appID.toLower()));
    }
}

void DesktopDriver::input() {
    const QString name = desktop();
    if (name == QLatin1String("sway")) {
        EXPECT_EQ(run(QStringLiteral("wtype"), {QStringLiteral("-k"), QStringLiteral("Shift_L")}), 0);
    } else if (name == QLatin1String("kde")) {
        call(QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("/ScreenSaver"),
             QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("SimulateUserActivity"));
    } else {
        // The session was started with MUTTER_DEBUG_RESET_IDLETIME, which lets a test stand in for input.
        call(QStringLiteral("org.gnome.Mutter.IdleMonitor"),
             QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core"),
             QStringLiteral("org.gnome.Mutter.IdleMonitor"), QStringLiteral("ResetIdletime"));
    }
}

void DesktopDriver::pressThroughCompositor(const QString& key) {
    EXPECT_EQ(
        run(QStringLiteral("wtype"), {QStringLiteral("-M"), QStringLiteral("ctrl"), QStringLiteral("-M"),
                                      QStringLiteral("alt"), QStringLiteral("-k"), key, QStringLiteral("-m"),
                                      QStringLiteral("alt"), QStringLiteral("-m"), QStringLiteral("ctrl")}),
        0);
}

bool DesktopDriver::swayCommand(const QString& command) {
    return run(QStringLiteral("swaymsg"), {command}) == 0;
}

QString DesktopDriver::evaluate(const QString& script) {
    const QDBusMessage reply = call(QStringLiteral("org.gnome.Shell"), QStringLiteral("/org/gnome/Shell"),
                                    QStringLiteral("org.gnome.Shell"), QStringLiteral("Eval"), {script});
    return reply.arguments().value(1).toString();
}

void DesktopDriver::pressInShell(const QStringList& keys, int holdMs) {
    QStringList names;
    for (const QString& key : keys) {
        names << QStringLiteral("Clutter.KEY_%1").arg(key);
    }
    const QString script =
        QStringLiteral("const Clutter = imports.gi.Clutter, GLib = imports.gi.GLib;\n"
                       "if (!global.mirkKeyboard)\n"
                       "    global.mirkKeyboard = Clutter.get_default_backend().get_default_seat()\n"
                       "        .create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE);\n"
                       "for (const key of [%1])\n"
                       "    global.mirkKeyboard.notify_keyval(GLib.get_monotonic_time(), key, "
                       "Clutter.KeyState.%2);\n"
                       "true");
    evaluate(script.arg(names.join(QStringLiteral(", ")), QStringLiteral("PRESSED")));
    // The keyboard repeats a key held past its delay; the hold is what is being tested.
    spinFor(holdMs);
    std::reverse(names.begin(), names.end());
    evaluate(script.arg(names.join(QStringLiteral(", ")), QStringLiteral("RELEASED")));
}

void DesktopDriver::pressOnX(const QStringList& arguments) {
    EXPECT_EQ(run(QStringLiteral("xdotool"), arguments), 0);
}

void DesktopDriver::resetXKeyboard() {
    EXPECT_EQ(run(QStringLiteral("setxkbmap"), {QStringLiteral("us")}), 0);
}

QDBusMessage DesktopDriver::portal(const QString& method, const QVariantList& arguments) {
    return call(QStringLiteral("org.freedesktop.impl.portal.desktop.mirktest"),
                QStringLiteral("/org/freedesktop/portal/desktop"),
                QStringLiteral("app.mirkvantle.TestPortal"), method, arguments);
}

QDBusMessage DesktopDriver::shortcutService(const QString& path, const QString& method,
                                            const QVariantList& arguments) {
    const QString interface = path == QLatin1String("/kglobalaccel")
                                  ? QStringLiteral("org.kde.KGlobalAccel")
                                  : QStringLiteral("org.kde.kglobalaccel.Component");
    return call(QStringLiteral("org.kde.kglobalaccel"), path, interface, method, arguments);
}
