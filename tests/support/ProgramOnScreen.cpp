#include "support/ProgramOnScreen.h"

#include "platform/linux/X11.h"
#include "support/Installed.h"
#include "support/SpinUntil.h"

#include <QDir>
#include <QFile>
#include <QSettings>

#include <csignal>

namespace onscreen {

QString run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000) || process.exitCode() != 0) {
        return {};
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

bool xdotool(const QStringList& arguments) {
    return QProcess::execute("xdotool", arguments) == 0;
}

QRect geometryOf(const QString& window) {
    QRect r;
    for (const auto& line : run("xdotool", {"getwindowgeometry", "--shell", window}).split('\n')) {
        const auto value = line.section('=', 1).toInt();
        if (line.startsWith("X=")) {
            r.moveLeft(value);
        } else if (line.startsWith("Y=")) {
            r.moveTop(value);
        } else if (line.startsWith("WIDTH=")) {
            r.setWidth(value);
        } else if (line.startsWith("HEIGHT=")) {
            r.setHeight(value);
        }
    }
    return r;
}

QImage screenshot(const QRect& around, const QString& name) {
    QDir().mkpath(MIRK_ARTEFACTS_DIR);
    const QString whole = QString(MIRK_ARTEFACTS_DIR) + "/screen.png";
    if (QProcess::execute("import", {"-window", "root", whole}) != 0) {
        return {};
    }
    const QImage part = QImage(whole).copy(around);
    part.save(QString(MIRK_ARTEFACTS_DIR) + "/" + name);
    return part;
}

int greenPixels(const QImage& image) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            n += c.green() > 140 && c.green() > c.red() + 60 && c.green() > c.blue() + 50 ? 1 : 0;
        }
    }
    return n;
}

bool keyboardTaken() {
    auto* c = platform::x11::connection();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    platform::x11::Reply<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(
        c, xcb_grab_keyboard(c, 0, root, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr));
    if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS) {
        xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
        xcb_flush(c);
        return false;
    }
    return reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
}

Program::Program(const QString& home, const QString& desktopKey, const QString& executable) {
    auto env = environment(home);
    if (!desktopKey.isEmpty()) {
        env.insert("VANTLE_DESKTOP_KEY", desktopKey);
    }
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(executable, {});
}

Program::~Program() {
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
}

QProcessEnvironment Program::environment(const QString& home) {
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", home);
    env.insert("XDG_CONFIG_HOME", home + "/config");
    env.insert("XDG_DATA_HOME", home + "/data");
    env.insert("XDG_CACHE_HOME", home + "/cache");
    env.insert("XDG_RUNTIME_DIR", home + "/runtime");
    // As on a Wayland session that offers XWayland: the program asks for X11 by itself.
    env.remove("QT_QPA_PLATFORM");
    env.insert("XDG_SESSION_TYPE", "wayland");
    env.insert("WAYLAND_DISPLAY", "wayland-mirk");
    env.remove("XDG_CURRENT_DESKTOP");
    env.remove("XDG_SESSION_DESKTOP");
    env.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + home + "/no-bus");
    env.remove("VANTLE_DESKTOP_KEY");
    return env;
}

QString Program::window(const QString& name, const std::function<bool(const QRect&)>& accept) {
    QString found;
    spinUntil(
        [&] {
            const auto all = run("xdotool", {"search", "--onlyvisible", "--name", "^" + name + "$"})
                                 .split('\n', Qt::SkipEmptyParts);
            for (const auto& window : all) {
                if (!accept || accept(geometryOf(window))) {
                    found = window;
                    return true;
                }
            }
            return false;
        },
        30000);
    return found;
}

bool Program::terminate() {
    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    return endsWell();
}

bool Program::endsWell() {
    return process.waitForFinished(15000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

void ProgramOnScreen::SetUp() {
    ASSERT_NE(platform::x11::connection(), nullptr) << "these tests run on an X server";
    ASSERT_TRUE(installed({"xdotool", "import", "weston"}));
    const QString root = home.path();
    for (const char* sub : {"config/Mirk Vantle Agents", "data/mirkvantle-agents", "cache", "runtime"}) {
        QDir(root).mkpath(sub);
    }
    QFile::setPermissions(root + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QSettings settings(root + "/config/Mirk Vantle Agents/Mirk Vantle Agents.ini", QSettings::IniFormat);
    settings.setValue("vantleURL", "http://127.0.0.1:1/app");
    settings.setValue("idleAnimations", false);
    settings.sync();

    // Four agents, 48-pixel cells shown at twice the size: a disc with clear corners.
    const auto disc = [](int x, int y) {
        const int dx = x % 48 - 24;
        const int dy = y % 48 - 24;
        return dx * dx + dy * dy < 18 * 18 ? 255 : 0;
    };
    for (const char* id : {"dorn", "lirra", "morvo", "pelka"}) {
        auto d = CharacterFixture::definition(id, 4, 3, 48);
        d.insert("width", 96);
        d.insert("height", 96);
        fixture.add(id, d, disc);
    }
    ASSERT_TRUE(QFile::link(fixture.path(), root + "/data/mirkvantle-agents/Characters"));

    // A Wayland compositor beside the X server, as on a Wayland session with XWayland; a
    // program that took Wayland would show its figure there, out of the test's sight.
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_RUNTIME_DIR", root + "/runtime");
    compositor.setProcessEnvironment(env);
    compositor.setStandardOutputFile(QProcess::nullDevice());
    compositor.setStandardErrorFile(QProcess::nullDevice());
    compositor.start("weston", {"--backend=headless-backend.so", "--socket=wayland-mirk", "--idle-time=0"});
    ASSERT_TRUE(spinUntil([&] { return QFile::exists(root + "/runtime/wayland-mirk"); }));
}

void ProgramOnScreen::TearDown() {
    compositor.kill();
    compositor.waitForFinished(5000);
}

void ProgramOnScreen::useWorkspace(const SimProcess& sim) {
    setSetting("vantleURL", sim.baseUrl().toString());
}

void ProgramOnScreen::setSetting(const QString& key, const QVariant& value) {
    QSettings settings(home.path() + "/config/Mirk Vantle Agents/Mirk Vantle Agents.ini",
                       QSettings::IniFormat);
    settings.setValue(key, value);
    settings.sync();
}

} // namespace onscreen
