#include "support/Installed.h"
#include "support/ProgramOnScreen.h"
#include "support/SpinUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

using namespace onscreen;

namespace {

// A real system tray at the top right of the screen, as a desktop panel would hold it.
class Tray {
public:
    Tray() {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.start("trayer", {"--edge", "top", "--align", "right", "--widthtype", "request", "--height",
                                 "28", "--transparent", "false", "--SetDockType", "true"});
        spinUntil(
            [] {
                return !run("xdotool", {"search", "--onlyvisible", "--class", "^trayer$"}).isEmpty();
            },
            10000);
    }
    ~Tray() {
        process.kill();
        process.waitForFinished(5000);
    }
    QProcess process;
};

// Requests the simulator saw whose path ends so.
int requestsEndingWith(const SimProcess& sim, const QString& tail) {
    int n = 0;
    for (const auto& r : sim.requests()) {
        n += r.toObject().value("path").toString().endsWith(tail) ? 1 : 0;
    }
    return n;
}

class ProgramTrayAndLinks : public ProgramOnScreen {
protected:
    void SetUp() override {
        ProgramOnScreen::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(installed({"trayer", "xdg-open"}));
    }

    // The program's windows that are on screen now.
    static QStringList windowsOf(const Program& program) {
        return run("xdotool",
                   {"search", "--onlyvisible", "--pid", QString::number(program.process.processId())})
            .split('\n', Qt::SkipEmptyParts);
    }
    // The program's icon in the tray, once it shows. Qt leaves its plain name empty, so it is
    // found by its size.
    static QString trayIcon(const Program& program) {
        QString found;
        spinUntil(
            [&] {
                for (const auto& window : windowsOf(program)) {
                    const QRect r = geometryOf(window);
                    if (r.width() >= 16 && r.width() <= 48 && r.height() <= 48) {
                        found = window;
                        return true;
                    }
                }
                return false;
            },
            30000);
        return found;
    }
    // Clicks the tray icon and answers the menu that opens, or an empty rectangle. The menu is
    // the new window of a menu's height, whatever else (a tooltip) opened before it.
    static QRect openTrayMenu(Program& program, const QString& icon) {
        const QStringList before = windowsOf(program);
        const QRect at = geometryOf(icon);
        if (!xdotool({"mousemove", QString::number(at.center().x()), QString::number(at.center().y())}) ||
            !xdotool({"click", "1"})) {
            return {};
        }
        QRect menu;
        spinUntil([&] {
            for (const auto& window : windowsOf(program)) {
                if (!before.contains(window) && geometryOf(window).height() > 100) {
                    menu = geometryOf(window);
                    return true;
                }
            }
            return false;
        });
        spinUntil(keyboardTaken);
        return menu;
    }
};

} // namespace

TEST_F(ProgramTrayAndLinks,
       TheTrayIconShowsTheRunningTimerItsMenuStopsItInBothLanguagesAndQuitEndsTheProgram) {
    Tray tray;
    SimProcess sim({"--demo"}); // a timer runs in the demo company
    ASSERT_TRUE(sim.isRunning());
    useWorkspace(sim);
    QRect englishMenu;
    {
        Program program(home.path(), sim.desktopKey());
        const QString icon = trayIcon(program);
        ASSERT_FALSE(icon.isEmpty()) << "the icon stands in the tray";
        ASSERT_TRUE(spinUntil(
            [&] { return greenPixels(screenshot(geometryOf(icon), "tray-running.png")) > 20; }, 30000))
            << "the icon shows the running timer";

        englishMenu = openTrayMenu(program, icon);
        ASSERT_GT(englishMenu.height(), 100) << "the menu opens";
        screenshot(englishMenu, "tray-menu-running.png");
        // Chat, New Conversation, then the running timer's stop row.
        ASSERT_TRUE(xdotool({"key", "Down", "Down", "Down", "Return"}));
        ASSERT_TRUE(spinUntil([&] { return requestsEndingWith(sim, "/stop") == 1; }, 15000))
            << "the timer stops";
        EXPECT_TRUE(spinUntil([&] {
            return greenPixels(screenshot(geometryOf(icon), "tray-idle.png")) == 0;
        })) << "and the icon shows that nothing runs";

        const QRect idleMenu = openTrayMenu(program, icon);
        screenshot(idleMenu, "tray-menu-idle.png");
        EXPECT_EQ(idleMenu.height(), englishMenu.height())
            << "thirteen rows, a start row in place of the stop row";
        ASSERT_TRUE(xdotool({"key", "Up", "Return"}));
        EXPECT_TRUE(program.endsWell()) << "Quit ends the program in order";
    }

    setSetting("language", "et");
    Program program(home.path(), sim.desktopKey());
    const QString icon = trayIcon(program);
    ASSERT_FALSE(icon.isEmpty());
    spinFor(1000);
    const QRect estonianMenu = openTrayMenu(program, icon);
    screenshot(estonianMenu, "tray-menu-et.png");
    EXPECT_EQ(estonianMenu.height(), englishMenu.height());
    // Käivita taimer opens its list; Projektita, above Muu projekt…, starts a timer without a project.
    ASSERT_TRUE(xdotool({"key", "Down", "Down", "Down", "Right"}));
    spinFor(300);
    ASSERT_TRUE(xdotool({"key", "Up", "Up", "Return"}));
    EXPECT_TRUE(spinUntil(
        [&] { return greenPixels(screenshot(geometryOf(icon), "tray-et-running.png")) > 20; }, 15000))
        << "started from the tray";
    openTrayMenu(program, icon);
    ASSERT_TRUE(xdotool({"key", "Up", "Return"}));
    EXPECT_TRUE(program.endsWell());
}

TEST_F(ProgramTrayAndLinks, XdgOpenHandsLinksToTheInstalledRunningCopyAndConnectAsksFirst) {
    // Installed as a user would, into a prefix of their own.
    const QString prefix = home.path() + "/prefix";
    QProcess install;
    install.setStandardOutputFile(QProcess::nullDevice());
    install.start("cmake", {"--install", MIRK_BUILD_DIR, "--prefix", prefix});
    ASSERT_TRUE(install.waitForFinished(120000) && install.exitCode() == 0);
    for (const char* file : {"bin/mirkvantle-agents", "share/applications/mirkvantle-agents.desktop",
                             "share/icons/hicolor/48x48/apps/mirkvantle-agents.png",
                             "share/mirkvantle-agents/Characters/dorn/character.json"}) {
        EXPECT_TRUE(QFileInfo::exists(prefix + "/" + file)) << file;
    }

    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    useWorkspace(sim);
    Program program(home.path(), {}, prefix + "/bin/mirkvantle-agents");
    ASSERT_FALSE(program.window("Dorn").isEmpty());
    const auto xdgOpen = [&](const QString& link) {
        QProcess opener;
        auto env = Program::environment(home.path());
        env.insert("PATH", prefix + "/bin:" + env.value("PATH"));
        env.insert("XDG_DATA_DIRS", prefix + "/share:/usr/share");
        opener.setProcessEnvironment(env);
        opener.start("xdg-open", {link});
        return opener.waitForFinished(15000) && opener.exitCode() == 0;
    };
    const auto named = [] {
        return run("xdotool", {"search", "--onlyvisible", "--name", "^Mirk Vantle Agents$"})
            .split('\n', Qt::SkipEmptyParts);
    };
    // A window of the program's name that wasn't on screen before the link.
    const auto newWindow = [&](const QStringList& before) {
        QString found;
        spinUntil(
            [&] {
                for (const auto& window : named()) {
                    if (!before.contains(window) && geometryOf(window).width() > 48) {
                        found = window;
                        return true;
                    }
                }
                return false;
            },
            30000);
        return found;
    };

    QStringList before = named();
    ASSERT_TRUE(xdgOpen("mirkvantle:say?text=Hi%20from%20a%20shell"));
    ASSERT_FALSE(newWindow(before).isEmpty()) << "the running copy says it";
    EXPECT_EQ(program.process.state(), QProcess::Running);

    // Connect checks the key and asks, and a no stores nothing: the workspace hears of the key
    // only for the check that names its account, and no stream starts.
    const QString connect =
        "mirkvantle://connect?key=" + sim.desktopKey() + "&url=" + sim.baseUrl().toString();
    before = named();
    ASSERT_TRUE(xdgOpen(connect));
    QString dialog = newWindow(before);
    ASSERT_FALSE(dialog.isEmpty()) << "the question shows";
    ASSERT_TRUE(xdotool({"windowactivate", "--sync", dialog}));
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    spinFor(3000);
    EXPECT_EQ(requestsEndingWith(sim, "/api/auth/desktop/token"), 1);
    EXPECT_EQ(requestsEndingWith(sim, "/api/auth/me"), 1);
    EXPECT_EQ(sim.control("GET", "/sim/state").toObject().value("streams").toInt(), 0);

    // Return alone answers no; the Connect button is the user's yes, and the key is kept and
    // the program talks to the workspace with it.
    const auto answer = [&](const QStringList& keys) {
        const QStringList earlier = named();
        EXPECT_TRUE(xdgOpen(connect));
        const QString question = newWindow(earlier);
        EXPECT_FALSE(question.isEmpty());
        EXPECT_TRUE(xdotool({"windowactivate", "--sync", question}));
        EXPECT_TRUE(xdotool(QStringList{"key"} + keys));
        return spinUntil([&] { return !named().contains(question); });
    };
    ASSERT_TRUE(answer({"Return"}));
    spinFor(2000);
    EXPECT_EQ(sim.control("GET", "/sim/state").toObject().value("streams").toInt(), 0);
    ASSERT_TRUE(answer({"Tab", "Return"}));
    EXPECT_TRUE(spinUntil([&] { return requestsEndingWith(sim, "/api/auth/desktop/token") > 0; }, 15000));
    EXPECT_TRUE(spinUntil(
        [&] { return sim.control("GET", "/sim/state").toObject().value("streams").toInt() > 0; }, 15000))
        << "the event stream starts with the new key";
    EXPECT_TRUE(program.terminate());
}

TEST_F(ProgramTrayAndLinks, WithoutAKeyTheBalloonOpensTheSettingsAndAKeyTypedThereConnects) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    useWorkspace(sim);
    Program program(home.path());
    ASSERT_FALSE(program.window("Dorn").isEmpty());
    ASSERT_TRUE(xdotool({"key", "ctrl+alt+space"}));
    const QString balloon =
        program.window("Mirk Vantle Agents", [](const QRect& r) { return r.width() > 48; });
    ASSERT_FALSE(balloon.isEmpty()) << "the balloon says that nothing is connected";
    spinFor(500);
    const QRect at = geometryOf(balloon);
    screenshot(at, "not-connected.png");
    ASSERT_TRUE(xdotool({"mousemove", QString::number(at.center().x()), QString::number(at.center().y())}));
    ASSERT_TRUE(xdotool({"click", "1"}));
    const QString form = program.window("Mirk Vantle Agents Settings");
    ASSERT_FALSE(form.isEmpty()) << "its click opens the settings";
    ASSERT_TRUE(xdotool({"windowactivate", "--sync", form}));
    spinFor(300);
    // Without a key, the key field has the focus.
    ASSERT_TRUE(xdotool({"type", "--delay", "30", sim.desktopKey()}));
    const bool exchanged =
        spinUntil([&] { return requestsEndingWith(sim, "/api/auth/desktop/token") > 0; }, 15000);
    spinFor(500);
    screenshot(geometryOf(form), "settings-connected.png");
    ASSERT_TRUE(exchanged);
    EXPECT_EQ(requestsEndingWith(sim, "/api/auth/desktop/token"), 1) << "one exchange for the whole key";
    const auto exchange = [&] {
        for (const auto& r : sim.requests()) {
            if (r.toObject().value("path").toString().endsWith("/api/auth/desktop/token")) {
                return r.toObject();
            }
        }
        return QJsonObject{};
    }();
    EXPECT_EQ(exchange.value("headers").toObject().value("authorization").toString(),
              "Bearer " + sim.desktopKey());
    EXPECT_TRUE(program.terminate());
}
