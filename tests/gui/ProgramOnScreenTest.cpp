#include "support/ProgramOnScreen.h"
#include "activity/ActivitySpan.h"
#include "platform/linux/X11.h"
#include "support/Installed.h"
#include "support/SpinUntil.h"
#include "support/Terminal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QMouseEvent>
#include <QProcess>
#include <QRandomGenerator>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QWidget>
#include <QWindow>

#include <gtest/gtest.h>

#include <csignal>
#include <utility>
#include <xcb/shape.h>

using namespace onscreen;

namespace {

// Whether the window's input shape holds this point of the window.
bool takesClicksAt(const QString& window, QPoint point) {
    auto* c = platform::x11::connection();
    platform::x11::Reply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
        c, xcb_shape_get_rectangles(c, window.toUInt(), XCB_SHAPE_SK_INPUT), nullptr));
    if (!reply) {
        return false;
    }
    const auto* rects = xcb_shape_get_rectangles_rectangles(reply.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i) {
        if (QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height).contains(point)) {
            return true;
        }
    }
    return false;
}

// An ordinary window behind the figure that notes where it was clicked.
class Catcher : public QWidget {
public:
    QList<QPoint> clicks;

protected:
    void mousePressEvent(QMouseEvent* event) override { clicks << event->globalPosition().toPoint(); }
};

// The texts of the agent's messages that the simulator keeps in its threads.
QStringList agentMessages(const SimProcess& sim) {
    QStringList texts;
    for (const auto& thread : sim.control("GET", "/sim/state").toObject().value("threads").toArray()) {
        for (const auto& message : thread.toObject().value("messages").toArray()) {
            if (message.toObject().value("authorType").toString() == "agent") {
                texts << message.toObject().value("text").toString();
            }
        }
    }
    return texts;
}

// The X screen shown as several monitors, as a desk of several screens has it; whole again at the
// end. The first monitor holds the screen's output, so that it stands in for the whole screen.
class Monitors {
public:
    explicit Monitors(const QList<std::pair<QString, QRect>>& parts) {
        for (const auto& [name, r] : parts) {
            // Sizes in millimetres at 96 dots an inch, the X server's own.
            const QString geometry = QStringLiteral("%1/%2x%3/%4+%5+%6")
                                         .arg(r.width())
                                         .arg(r.width() * 254 / 960)
                                         .arg(r.height())
                                         .arg(r.height() * 254 / 960)
                                         .arg(r.x())
                                         .arg(r.y());
            EXPECT_TRUE(xrandr({"--setmonitor", name, geometry, names.isEmpty() ? "screen" : "none"}));
            names << name;
        }
    }
    ~Monitors() {
        for (const auto& name : std::as_const(names)) {
            xrandr({"--delmonitor", name});
        }
    }
    void remove(const QString& name) {
        EXPECT_TRUE(xrandr({"--delmonitor", name}));
        names.removeAll(name);
    }

private:
    static bool xrandr(const QStringList& arguments) { return QProcess::execute("xrandr", arguments) == 0; }

    QStringList names;
};

} // namespace

TEST_F(ProgramOnScreen, TheFigureStandsClicksThroughItsCornersMovesAndComesBackWhereItWasLeft) {
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QRect moved;
    {
        Program program(home.path());
        const QString figure = program.window("Dorn");
        ASSERT_FALSE(figure.isEmpty()) << "the figure never showed";
        const QRect frame = geometryOf(figure);
        EXPECT_EQ(frame.size(), QSize(96, 96));
        EXPECT_LE((frame.center() - area.center()).manhattanLength(), 2) << "centred on the first start";

        // What shows: the disc in the middle, and the desktop in the corners.
        spinFor(500); // the entrance animation has ended
        const QImage shot = screenshot(frame.adjusted(-16, -16, 16, 16), "figure.png");
        ASSERT_FALSE(shot.isNull());
        const QRgb middle = shot.pixel(16 + 48, 16 + 48);
        // The first start's not-connected notice stands on the left: the right side is compared.
        const QRgb corner = shot.pixel(16 + 96 - 3, 16 + 2);
        const QRgb outside = shot.pixel(shot.width() - 3, 2);
        EXPECT_GT(qRed(middle), qGreen(middle) + 60) << "the figure is drawn";
        EXPECT_EQ(corner, outside) << "the corners are transparent";

        Catcher catcher;
        catcher.setGeometry(frame.adjusted(-60, -60, 60, 60));
        catcher.show();
        ASSERT_TRUE(spinUntil([&] { return catcher.windowHandle() && catcher.windowHandle()->isExposed(); }));
        const QPoint cornerPoint = frame.topLeft() + QPoint(4, 4);
        const QPoint middlePoint = frame.center();
        // The window system itself knows the figure's pixels: a press right on arrival, with no
        // time for the program to watch the pointer, goes where it belongs.
        EXPECT_FALSE(takesClicksAt(figure, cornerPoint - frame.topLeft()));
        EXPECT_TRUE(takesClicksAt(figure, middlePoint - frame.topLeft()));
        const auto clickAt = [&](QPoint p) {
            return xdotool({"mousemove", QString::number(p.x()), QString::number(p.y()), "click", "1"});
        };
        ASSERT_TRUE(clickAt(cornerPoint)) << "clicks pass the transparent corner";
        ASSERT_TRUE(spinUntil([&] { return catcher.clicks.size() == 1; }))
            << run("xdotool", {"getmouselocation", "--shell"}).toStdString() << " figure "
            << figure.toStdString() << " catcher " << catcher.winId() << " frame " << frame.x() << ","
            << frame.y() << " takes " << takesClicksAt(figure, cornerPoint - frame.topLeft());

        ASSERT_TRUE(clickAt(middlePoint));
        EXPECT_TRUE(spinUntil([&] { return run("xdotool", {"getactivewindow"}) == figure; }))
            << "the click went to the figure";

        ASSERT_TRUE(clickAt(cornerPoint));
        ASSERT_TRUE(spinUntil([&] { return catcher.clicks.size() >= 2; }));
        spinFor(200);
        EXPECT_EQ(catcher.clicks, (QList<QPoint>{cornerPoint, cornerPoint})) << "the middle click never came";
        catcher.hide();

        // Dragging the figure by hand moves its window.
        ASSERT_TRUE(
            xdotool({"mousemove", QString::number(middlePoint.x()), QString::number(middlePoint.y())}));
        ASSERT_TRUE(xdotool({"mousedown", "1"}));
        for (int i = 0; i < 6; ++i) {
            ASSERT_TRUE(xdotool({"mousemove_relative", "--", "20", "-10"}));
        }
        ASSERT_TRUE(xdotool({"mouseup", "1"}));
        moved = frame.translated(120, -60);
        EXPECT_TRUE(spinUntil([&] { return geometryOf(figure) == moved; })) << geometryOf(figure).x();

        // Control+Alt+2 brings Lirra on stage, in the same window.
        ASSERT_TRUE(xdotool({"key", "ctrl+alt+2"}));
        EXPECT_TRUE(spinUntil([&] { return run("xdotool", {"getwindowname", figure}) == "Lirra"; }));
        spinFor(800);
        screenshot(geometryOf(figure).adjusted(-16, -16, 16, 16), "lirra.png");

        ASSERT_TRUE(program.terminate());
    }

    Program again(home.path());
    const QString figure = again.window("Lirra");
    ASSERT_FALSE(figure.isEmpty()) << "the last agent comes back";
    EXPECT_EQ(geometryOf(figure), moved) << "where it was left";

    // With no tray on this desktop, the way out is at the end of the figure's own menu, in the
    // submenu of what the tray would have offered.
    const QString pid = QString::number(again.process.processId());
    const auto windows = [&] {
        return run("xdotool", {"search", "--onlyvisible", "--pid", pid}).split('\n');
    };
    const int shown = windows().size();
    // A pose may leave the middle empty for a moment, and a click there reaches the desktop.
    ASSERT_TRUE(spinUntil([&] { return takesClicksAt(figure, moved.center() - moved.topLeft()); }));
    ASSERT_TRUE(
        xdotool({"mousemove", QString::number(moved.center().x()), QString::number(moved.center().y())}));
    ASSERT_TRUE(xdotool({"click", "3"}));
    ASSERT_TRUE(spinUntil([&] { return windows().size() > shown && keyboardTaken(); })) << "the menu opens";
    ASSERT_TRUE(xdotool({"key", "Up", "Right"}));
    ASSERT_TRUE(spinUntil([&] { return windows().size() > shown + 1; })) << "the submenu opens";
    ASSERT_TRUE(xdotool({"key", "Up", "Return"}));
    ASSERT_TRUE(again.process.waitForFinished(15000));
    EXPECT_EQ(again.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(again.process.exitCode(), 0);
    EXPECT_FALSE(QFile::exists(home.path() + "/runtime/mirkvantle-agents.socket"))
        << "the quit road ends the program in order, releasing its socket";
}

// A screen that goes away brings the figure back onto one that is left, moved no further than
// that takes; a screen it does not stand on takes nothing with it. Wayland desktops carry windows
// off a screen that goes by themselves; the window manager here keeps only a sliver in sight, so
// the rest is the program's own doing.
TEST_F(ProgramOnScreen, TheFigureComesBackFromAScreenThatGoesAway) {
    ASSERT_TRUE(installed({"xrandr"}));
    Monitors monitors(
        {{"LEFT", {0, 0, 640, 400}}, {"BELOW", {0, 400, 640, 400}}, {"RIGHT", {640, 0, 640, 800}}});
    const QRect left(900, 300, 96, 96);
    setSetting("CharacterWindow", left);
    Program program(home.path());
    const QString figure = program.window("Dorn");
    ASSERT_FALSE(figure.isEmpty()) << "the figure never showed";
    ASSERT_EQ(geometryOf(figure), left) << "it stands where it was left, on the right-hand screen";

    // The program takes the X server's news in order, so where the figure ends shows what it made
    // of both: a jump when the screen below went would not end on the nearest place on the left.
    monitors.remove("BELOW");
    monitors.remove("RIGHT");
    const QRect back(640 - 96, 300, 96, 96);
    EXPECT_TRUE(spinUntil([&] { return geometryOf(figure) == back; }, 20000))
        << geometryOf(figure).x() << "," << geometryOf(figure).y();
}

TEST_F(ProgramOnScreen, ControlAltSpaceOpensTheChatAndTheAnswerComesBack) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    useWorkspace(sim);
    Program program(home.path(), sim.desktopKey());
    const QString figure = program.window("Dorn");
    ASSERT_FALSE(figure.isEmpty());

    ASSERT_TRUE(xdotool({"key", "ctrl+alt+space"}));
    const QString balloon = program.window("Mirk Vantle Agents");
    ASSERT_FALSE(balloon.isEmpty()) << "the balloon opens";
    ASSERT_TRUE(spinUntil([&] { return run("xdotool", {"getactivewindow"}) == balloon; }))
        << "and takes the keyboard for typing";
    spinFor(500); // the greeting has settled
    const QRect greeting = geometryOf(balloon);
    const QImage before = screenshot(greeting, "greeting.png");
    ASSERT_FALSE(before.isNull());
    EXPECT_EQ(greenPixels(before), 0);

    const QString answer = "Your week is calm.\n\nMonday: planning.\nTuesday: reviews.\nWednesday: free.\n"
                           "Thursday: travel.\nFriday: the report.";
    sim.control(
        "POST", "/sim/turns",
        QJsonObject{
            {"steps", QJsonArray{QJsonObject{{"kind", "delta"}, {"text", "Your week"}, {"after_ms", 200}},
                                 QJsonObject{{"kind", "done"}, {"text", answer}, {"after_ms", 200}}}}});
    ASSERT_TRUE(xdotool({"type", "--delay", "20", "Tere, Dorn"}));
    ASSERT_TRUE(xdotool({"key", "Return"}));

    // The question reaches the workspace as a turn, which answers it there...
    QJsonObject turn;
    ASSERT_TRUE(spinUntil(
        [&] {
            for (const auto& r : sim.requests()) {
                if (r.toObject().value("path").toString().endsWith("/turn")) {
                    turn = r.toObject();
                    return true;
                }
            }
            return false;
        },
        30000));
    const QByteArray body = SimProcess::bodyOf(turn);
    EXPECT_TRUE(body.startsWith(R"({"message":"Tere, Dorn","turnId":"desktop_)")) << body.toStdString();
    EXPECT_TRUE(spinUntil([&] { return agentMessages(sim).contains(answer); }));

    // ... and the answer shows: seven lines in place of two, under the green mark of success.
    ASSERT_TRUE(spinUntil([&] { return geometryOf(balloon).height() > greeting.height() + 60; }, 15000))
        << geometryOf(balloon).height() << " against " << greeting.height();
    ASSERT_TRUE(
        spinUntil([&] { return greenPixels(screenshot(geometryOf(balloon), "answer.png")) > 20; }, 15000))
        << "no success mark in the balloon";

    // Ctrl+Alt+Space again, with the balloon active, closes it.
    ASSERT_TRUE(xdotool({"key", "ctrl+alt+space"}));
    EXPECT_TRUE(spinUntil([&] {
        return run("xdotool", {"search", "--onlyvisible", "--name", "^Mirk Vantle Agents$"}).isEmpty();
    }));
    EXPECT_TRUE(program.terminate());
}

TEST_F(ProgramOnScreen, AnApprovalPushedByTheWorkspaceIsApprovedWithOneClick) {
    SimProcess sim;
    ASSERT_TRUE(sim.isRunning());
    useWorkspace(sim);
    Program program(home.path(), sim.desktopKey());
    ASSERT_FALSE(program.window("Dorn").isEmpty());
    ASSERT_TRUE(spinUntil(
        [&] { return sim.control("GET", "/sim/state").toObject().value("streams").toInt() > 0; }, 30000))
        << "the program listens to the workspace";

    sim.control("POST", "/sim/approvals",
                QJsonObject{{"id", "ap-1"},
                            {"agent", "Dorn"},
                            {"action", "Send the proposal to the client"},
                            {"rationale", "The client asked for it by Friday."}});
    const QString balloon = program.window("Mirk Vantle Agents");
    ASSERT_FALSE(balloon.isEmpty()) << "the balloon opens by itself";

    // The decision row shows: the approve button is the one wide stretch of the accent colour.
    const auto isAccent = [](QRgb p) {
        return std::abs(qRed(p) - 0) < 16 && std::abs(qGreen(p) - 122) < 16 && std::abs(qBlue(p) - 255) < 16;
    };
    QRect frame;
    QPoint approve;
    ASSERT_TRUE(spinUntil(
        [&] {
            frame = geometryOf(balloon);
            const QImage shot = screenshot(frame, "approval.png");
            QList<QPoint> wide;
            for (int y = 0; y < shot.height(); ++y) {
                QList<int> xs;
                for (int x = 0; x < shot.width(); ++x) {
                    if (isAccent(shot.pixel(x, y))) {
                        xs << x;
                    }
                }
                if (xs.size() > 40) {
                    wide << QPoint((xs.first() + xs.last()) / 2, y);
                }
            }
            if (wide.size() < 10) {
                return false;
            }
            approve = frame.topLeft() +
                      QPoint(wide.at(wide.size() / 2).x(), (wide.first().y() + wide.last().y()) / 2);
            return true;
        },
        20000))
        << "no approve button on screen";
    EXPECT_GT(approve.y() - frame.y(), frame.height() / 3) << "the row stands under the text";

    ASSERT_TRUE(xdotool({"mousemove", QString::number(approve.x()), QString::number(approve.y())}));
    // Two presses in quick succession while the workspace takes its time: the first disables the row.
    sim.control("POST", "/sim/faults",
                QJsonObject{{"path", sim.basePath() + "/api/approvals/ap-1/approve"}, {"delay_ms", 1000}});
    ASSERT_TRUE(xdotool({"click", "--repeat", "2", "--delay", "60", "1"}));
    const QString approvePath = sim.basePath() + "/api/approvals/ap-1/approve";
    const auto decisions = [&] {
        QList<QByteArray> bodies;
        for (const auto& r : sim.requests()) {
            const auto path = r.toObject().value("path").toString();
            if (path == approvePath || path == sim.basePath() + "/api/approvals/ap-1/reject") {
                bodies << SimProcess::bodyOf(r);
            }
        }
        return bodies;
    };
    ASSERT_TRUE(spinUntil([&] { return !decisions().isEmpty(); }, 20000));
    spinFor(2000);
    EXPECT_EQ(decisions(), QList<QByteArray>{"{}"}) << "exactly one decision, with no comment";
    const auto approvals = sim.control("GET", "/sim/state").toObject().value("approvals").toArray();
    ASSERT_EQ(approvals.size(), 1);
    EXPECT_EQ(approvals.at(0).toObject().value("status").toString(), QStringLiteral("approved"));
    EXPECT_TRUE(program.terminate());
}

// The program records the terminals that take turns in front; killed at a random moment, it
// loses at most the open span, and the log reads back whole. The quit signal keeps that span.
TEST_F(ProgramOnScreen, TheDayLogReadsBackWholeAfterTheProgramIsKilledWhileItRecords) {
    ASSERT_FALSE(QStandardPaths::findExecutable("xterm").isEmpty()) << "scripts/setup installs xterm";
    Terminal alpha({"-class", "Alphaterm", "-title", "Alpha notes"});
    Terminal beta({"-class", "Betaterm", "-title", "Beta sums"});
    ASSERT_TRUE(alpha.window && beta.window);
    ASSERT_TRUE(beta.activate());

    const QString folder = home.path() + "/data/Mirk Vantle Agents/Activity";
    // Every span in the logs that began at `since` or later; each line must read.
    const auto spansSince = [&](qint64 since) {
        QList<ActivitySpan> spans;
        for (const QString& name : QDir(folder).entryList({"*.jsonl"}, QDir::Files, QDir::Name)) {
            QFile file(folder + "/" + name);
            EXPECT_TRUE(file.open(QIODevice::ReadOnly));
            const QByteArray bytes = file.readAll();
            EXPECT_TRUE(bytes.endsWith('\n')) << "no line is left half written";
            for (const QByteArray& line : bytes.split('\n')) {
                const auto span = ActivityLog::decode(line);
                EXPECT_TRUE(span || line.isEmpty()) << line.constData();
                if (span && span->start.toSecsSinceEpoch() >= since) {
                    spans << *span;
                }
            }
        }
        return spans;
    };

    for (int round = 0; round < 3; ++round) {
        const bool killed = round < 2;
        const int wait = static_cast<int>(QRandomGenerator::global()->bounded(1500));
        SCOPED_TRACE(
            QString("round %1, ended %2 ms after the last switch").arg(round).arg(1500 + wait).toStdString());
        Program program(home.path());
        ASSERT_FALSE(program.window("Dorn").isEmpty());
        // Spans under a second are dropped. After the first switch each span is timed from the
        // moment the program wrote the one before it, so that it lasts half a second more than
        // that however late a busy machine lets the program notice a switch.
        spinFor(1500);
        const qint64 firstSwitch = QDateTime::currentSecsSinceEpoch();
        ASSERT_TRUE(alpha.activate());
        // The first span is timed from the switch itself, which a busy machine may notice late:
        // it is given more time than the rest.
        int pause = 3000;
        for (const Terminal* front : {&beta, &alpha, &beta}) {
            spinFor(std::exchange(pause, 1500));
            const qsizetype written = spansSince(0).size();
            ASSERT_TRUE(front->activate());
            ASSERT_TRUE(spinUntil([&] { return spansSince(0).size() > written; })) << "the switch is noticed";
        }
        spinFor(1500 + wait);
        if (killed) {
            ::kill(static_cast<pid_t>(program.process.processId()), SIGKILL);
            ASSERT_TRUE(program.process.waitForFinished(10000));
        } else {
            ASSERT_TRUE(program.terminate());
        }
        // Each switch closed a span; a kill loses the one still open, the quit signal writes it.
        const auto spans = spansSince(firstSwitch);
        ASSERT_EQ(spans.size(), killed ? 3 : 4);
        for (qsizetype i = 0; i < spans.size(); ++i) {
            EXPECT_EQ(spans.at(i).bundleID, i % 2 == 0 ? "Alphaterm" : "Betaterm");
            EXPECT_GE(spans.at(i).start.secsTo(spans.at(i).end), 1);
            EXPECT_FALSE(spans.at(i).title) << "titles are off by default";
        }
    }
    EXPECT_EQ(QFileInfo(folder).permissions() & (QFile::ReadOther | QFile::ReadGroup), 0);
}
