#include "app/Settings.h"
#include "base/Clock.h"
#include "capture/Capture.h"
#include "platform/linux/X11.h"
#include "platform/linux/X11ActiveWindow.h"
#include "platform/linux/X11DragBoard.h"
#include "platform/linux/X11HotKeys.h"
#include "platform/linux/X11IdleTime.h"
#include "platform/linux/X11Pointer.h"
#include "platform/linux/X11WindowTraits.h"
#include "support/SpinUntil.h"
#include "support/Terminal.h"
#include "support/TestEnvironment.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QWidget>
#include <QWindow>

#include <gtest/gtest.h>

#include <xcb/shape.h>

using namespace platform;

namespace {

// A second client of the same X server: another program, as far as ours can tell.
class OtherClient {
public:
    OtherClient() : connection(xcb_connect(nullptr, nullptr)) {}
    ~OtherClient() { xcb_disconnect(connection); }
    bool ok() const { return connection && !xcb_connection_has_error(connection); }

    xcb_window_t makeWindow() {
        const xcb_window_t window = xcb_generate_id(connection);
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, x11::rootWindow(connection), 0, 0, 1, 1,
                          0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        return window;
    }

    // A dialog that names no class or pid of its own, only the window it belongs to.
    xcb_window_t showDialog(xcb_window_t owner) {
        const xcb_window_t window = xcb_generate_id(connection);
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, x11::rootWindow(connection), 0, 0, 200,
                          100, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_TRANSIENT_FOR,
                            XCB_ATOM_WINDOW, 32, 1, &owner);
        xcb_map_window(connection, window);
        xcb_flush(connection);
        return window;
    }

    // What a drag source does: takes the selection, lists its types on its window, and names
    // up to three of them in the XDND messages it sends to the window under the pointer.
    void takeSelection(xcb_window_t window, const char* selection) {
        xcb_set_selection_owner(connection, window, x11::atom(connection, selection), XCB_CURRENT_TIME);
        xcb_flush(connection);
    }
    void setTypeList(xcb_window_t window, const QList<const char*>& types) {
        QList<xcb_atom_t> atoms;
        for (const char* type : types) {
            atoms << x11::atom(connection, type);
        }
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, x11::atom(connection, "XdndTypeList"),
                            XCB_ATOM_ATOM, 32, static_cast<std::uint32_t>(atoms.size()), atoms.constData());
        xcb_flush(connection);
    }
    void sendXdnd(xcb_window_t target, const char* message, xcb_window_t source,
                  const QList<const char*>& types) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = target;
        event.type = x11::atom(connection, message);
        event.data.data32[0] = source;
        event.data.data32[1] = 5u << 24; // protocol version 5, three types or fewer
        for (int i = 0; i < types.size() && i < 3; ++i) {
            event.data.data32[2 + i] = x11::atom(connection, types[i]);
        }
        xcb_send_event(connection, 0, target, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
        xcb_flush(connection);
    }

    xcb_connection_t* connection;
};

bool runs(const QString& program, const QStringList& arguments) {
    return QProcess::execute(program, arguments) == 0;
}

void setProperty(xcb_connection_t* c, xcb_window_t window, const char* property, const char* type,
                 const QByteArray& bytes) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, x11::atom(c, property), x11::atom(c, type), 8,
                        static_cast<std::uint32_t>(bytes.size()), bytes.constData());
    xcb_flush(c);
}

// What the window manager does when another window gets the focus, or none of X's.
void setActiveWindow(xcb_connection_t* c, xcb_window_t window) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, x11::rootWindow(c), x11::atom(c, "_NET_ACTIVE_WINDOW"),
                        XCB_ATOM_WINDOW, 32, 1, &window);
    xcb_flush(c);
}

void writeDesktopEntry(const QString& path, const QByteArray& keys) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Desktop Entry]\nType=Application\nExec=true\n" + keys +
               "\n[Desktop Action New]\nName=New\n");
}

// An environment variable set or removed for one test.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::optional<QString>& value)
        : name(name), before(qEnvironmentVariable(name)), existed(qEnvironmentVariableIsSet(name)) {
        value ? qputenv(name, value->toUtf8()) : qunsetenv(name);
    }
    ~ScopedVariable() { existed ? qputenv(name, before.toUtf8()) : qunsetenv(name); }

private:
    const char* name;
    QString before;
    bool existed;
};

class X11Test : public ::testing::Test {
protected:
    void SetUp() override {
        connection = x11::connection();
        ASSERT_NE(connection, nullptr) << "these tests run on an X server";
    }
    xcb_connection_t* connection = nullptr;
};

} // namespace

TEST_F(X11Test, ThePointerIsAskedAgainAfterEveryInputEventEvenUnderAnotherProgramsGrab) {
    X11Pointer pointer(connection);
    // Pressed over a window of ours: on the bare desktop the window manager would take the press.
    QWidget target;
    target.setGeometry(100, 200, 100, 100);
    target.show();
    ASSERT_TRUE(spinUntil([&] { return target.windowHandle()->isExposed(); }));
    ASSERT_TRUE(runs("xdotool", {"mousemove", "110", "210"}));
    ASSERT_TRUE(spinUntil([&] { return pointer.position() == QPoint(110, 210); }))
        << "in time, though warped";

    // Each check below is the first question after the event, so an answer kept from before
    // the event would show. A drag source holds a grab on the pointer while the button is down;
    // the events come all the same.
    ASSERT_TRUE(runs("xdotool", {"mousemove_relative", "13", "24"}));
    spinFor(100);
    EXPECT_EQ(pointer.position(), QPoint(123, 234));
    OtherClient other;
    ASSERT_TRUE(other.ok());
    x11::Reply<xcb_grab_pointer_reply_t> grab(xcb_grab_pointer_reply(
        other.connection,
        xcb_grab_pointer(other.connection, 0, x11::rootWindow(other.connection),
                         XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE, XCB_GRAB_MODE_ASYNC,
                         XCB_GRAB_MODE_ASYNC, XCB_WINDOW_NONE, XCB_CURSOR_NONE, XCB_CURRENT_TIME),
        nullptr));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    ASSERT_TRUE(runs("xdotool", {"mousedown", "1"}));
    spinFor(100);
    EXPECT_EQ(pointer.buttons(), Qt::LeftButton);
    ASSERT_TRUE(runs("xdotool", {"mouseup", "1"}));
    spinFor(100);
    EXPECT_EQ(pointer.state().buttons, Qt::NoButton);
    xcb_ungrab_pointer(other.connection, XCB_CURRENT_TIME);

    // A warp is no input event: the answer kept is given until it has been given for half a
    // second of looks.
    xcb_warp_pointer(other.connection, XCB_WINDOW_NONE, x11::rootWindow(other.connection), 0, 0, 0, 0, 150,
                     250);
    xcb_flush(other.connection);
    spinFor(100);
    EXPECT_EQ(pointer.position(), QPoint(123, 234)) << "answered from memory";
    int looks = 1;
    while (pointer.position() != QPoint(150, 250) && looks < 100) {
        ++looks;
    }
    EXPECT_LE(looks, 8);
}

TEST_F(X11Test, EachNewDragIsCountedAndItsTypesReadFromTheSourceHoweverLateItNamesThem) {
    auto board = X11DragBoard::create(connection);
    ASSERT_TRUE(board) << "Xvfb has XFixes";
    EXPECT_EQ(board->changeCount(), 0);
    EXPECT_TRUE(board->types().isEmpty());

    OtherClient source;
    ASSERT_TRUE(source.ok());
    int drags = 0;
    const auto startDrag = [&](xcb_window_t window) {
        source.takeSelection(window, "XdndSelection");
        ++drags;
        return spinUntil([&] { return board->changeCount() == drags; });
    };

    // The list on the source's window before the drag starts.
    const xcb_window_t listed = source.makeWindow();
    source.setTypeList(listed, {"text/uri-list", "UTF8_STRING", "text/plain", "application/x-private"});
    ASSERT_TRUE(startDrag(listed));
    EXPECT_EQ(board->types(), (QStringList{"text/uri-list", "text/plain", "application/x-private"}));
    // The same source starting another drag counts again.
    ASSERT_TRUE(startDrag(listed));

    // The list set a moment after the drag has started and has been asked for.
    const xcb_window_t late = source.makeWindow();
    ASSERT_TRUE(startDrag(late));
    EXPECT_FALSE(Capture::kind(board->types()));
    source.setTypeList(late, {"x-special/gnome-icon-list", "text/uri-list", "UTF8_STRING", "text/plain"});
    EXPECT_TRUE(spinUntil([&] { return Capture::kind(board->types()) == Capture::Kind::files; }));

    // No list at all: the types come with the XdndEnter that the source sends to a window of ours.
    QWidget target;
    target.setAcceptDrops(true);
    target.setGeometry(300, 300, 80, 80);
    target.show();
    ASSERT_TRUE(spinUntil([&] { return target.windowHandle()->isExposed(); }));
    const auto ours = static_cast<xcb_window_t>(target.winId());
    const xcb_window_t bare = source.makeWindow();
    ASSERT_TRUE(startDrag(bare));
    EXPECT_TRUE(board->types().isEmpty()) << "nothing of the last drag";
    source.sendXdnd(ours, "XdndEnter", bare, {"text/uri-list", "UTF8_STRING"});
    EXPECT_TRUE(spinUntil([&] { return Capture::kind(board->types()) == Capture::Kind::files; }));
    source.sendXdnd(ours, "XdndLeave", bare, {});

    // A text-only source is no file drag.
    ASSERT_TRUE(startDrag(bare));
    EXPECT_TRUE(board->types().isEmpty()) << "nothing of the last drag";
    source.sendXdnd(ours, "XdndEnter", bare, {"UTF8_STRING", "text/plain;charset=utf-8"});
    EXPECT_TRUE(spinUntil([&] { return !board->types().isEmpty(); }));
    source.sendXdnd(ours, "XdndLeave", bare, {});
    // A message from an earlier drag's source that arrives late says nothing of this one.
    source.sendXdnd(ours, "XdndEnter", late, {"text/uri-list"});
    source.sendXdnd(ours, "XdndLeave", late, {});
    spinFor(100);
    EXPECT_EQ(Capture::kind(board->types()), Capture::Kind::text);
}

TEST_F(X11Test, ShortcutsFireWithNumLockAndCapsLockInAnyStateAndOneHeldElsewhereFailsAlone) {
    OtherClient other;
    ASSERT_TRUE(other.ok());
    X11HotKeys keys(connection);
    int pressed7 = 0;
    const int seven = keys.grab(0x37, {}, [&] { ++pressed7; });
    ASSERT_NE(seven, 0);

    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    EXPECT_TRUE(spinUntil([&] { return pressed7 == 1; }));
    ASSERT_TRUE(runs("xdotool", {"key", "Num_Lock"}));
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    const bool withNumLock = spinUntil([&] { return pressed7 == 2; });
    ASSERT_TRUE(runs("xdotool", {"key", "Caps_Lock"}));
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    const bool withBoth = spinUntil([&] { return pressed7 == 3; });
    ASSERT_TRUE(runs("xdotool", {"key", "Num_Lock"}));
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    const bool withCapsLock = spinUntil([&] { return pressed7 == 4; });
    ASSERT_TRUE(runs("xdotool", {"key", "Caps_Lock"}));
    EXPECT_TRUE(withNumLock);
    EXPECT_TRUE(withBoth);
    EXPECT_TRUE(withCapsLock);

    keys.release(seven);
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    spinFor(200);
    EXPECT_EQ(pressed7, 4) << "released";

    // xdotool finds the keycode of 8 the same way we do; the other client grabs it first.
    X11HotKeys holder(other.connection);
    ASSERT_NE(holder.grab(0x38, {}, [] {}), 0);
    EXPECT_EQ(keys.grab(0x38, {}, [] {}), 0);
    EXPECT_NE(keys.grab(0x39, {}, [] {}), 0) << "the others are not affected";
}

namespace {

// Counts the key presses that reach the program, repeats included.
class PressCounter : public QAbstractNativeEventFilter {
public:
    bool nativeEventFilter(const QByteArray&, void* message, qintptr*) override {
        const auto* event = static_cast<const xcb_key_press_event_t*>(message);
        if (x11::eventCode(reinterpret_cast<const xcb_generic_event_t*>(event)) == XCB_KEY_PRESS) {
            ++presses;
            keycode = event->detail;
        }
        return false;
    }
    int presses = 0;
    xcb_keycode_t keycode = 0;
};

} // namespace

TEST_F(X11Test, AHeldShortcutActsOnceHoweverOftenItRepeats) {
    const std::uint32_t on = XCB_AUTO_REPEAT_MODE_ON;
    xcb_change_keyboard_control(connection, XCB_KB_AUTO_REPEAT_MODE, &on);
    x11::Reply<xcb_get_keyboard_control_reply_t> control(
        xcb_get_keyboard_control_reply(connection, xcb_get_keyboard_control(connection), nullptr));
    ASSERT_TRUE(control && control->global_auto_repeat == XCB_AUTO_REPEAT_MODE_ON);

    X11HotKeys keys(connection);
    int fired = 0;
    ASSERT_NE(keys.grab(0x37, {}, [&] { ++fired; }), 0);
    PressCounter counter; // installed last, so it sees each press before the grabber takes it
    QCoreApplication::instance()->installNativeEventFilter(&counter);
    ASSERT_TRUE(runs("xdotool", {"keydown", "ctrl+alt+7"}));
    spinFor(1500); // well past the delay before a held key repeats
    ASSERT_TRUE(runs("xdotool", {"keyup", "ctrl+alt+7"}));
    spinFor(200);
    QCoreApplication::instance()->removeNativeEventFilter(&counter);
    EXPECT_GT(counter.presses, 3) << "the key repeated";
    EXPECT_EQ(fired, 1);
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    EXPECT_TRUE(spinUntil([&] { return fired == 2; })) << "pressed again, it acts again";

    // The server repeats a held key as a release and a press of the same moment, or, to a
    // connection that asks for detectable auto-repeat, as presses without releases.
    const auto send = [&](std::uint8_t type, xcb_timestamp_t time) {
        xcb_key_press_event_t event{};
        event.response_type = type;
        event.detail = counter.keycode;
        event.time = time;
        event.root = event.event = x11::rootWindow(connection);
        event.state = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
        keys.nativeEventFilter("xcb_generic_event_t", &event, nullptr);
    };
    send(XCB_KEY_PRESS, 1000);
    send(XCB_KEY_RELEASE, 1500);
    send(XCB_KEY_PRESS, 1500);
    send(XCB_KEY_RELEASE, 1540);
    send(XCB_KEY_PRESS, 1540);
    send(XCB_KEY_RELEASE, 1600);
    send(XCB_KEY_PRESS, 2000);
    send(XCB_KEY_PRESS, 2500);
    send(XCB_KEY_PRESS, 2540);
    send(XCB_KEY_RELEASE, 2600);
    spinFor(100);
    EXPECT_EQ(fired, 4) << "two presses, each held through repeats of either kind";
}

TEST_F(X11Test, TheInputShapeIsTheRegionGivenAndTheTaskbarIsToldToSkipTheWindow) {
    X11WindowTraits traits(connection);
    QWidget widget(nullptr, Qt::FramelessWindowHint | Qt::Tool);
    widget.setGeometry(50, 50, 40, 40);
    widget.winId();
    traits.keepOffTaskbar(*widget.windowHandle());
    widget.show();
    ASSERT_TRUE(spinUntil([&] { return widget.windowHandle()->isExposed(); }));

    const auto window = static_cast<xcb_window_t>(widget.winId());
    const auto inputShape = [&] {
        QList<QRect> rects;
        x11::Reply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
            connection, xcb_shape_get_rectangles(connection, window, XCB_SHAPE_SK_INPUT), nullptr));
        if (reply) {
            const auto* r = xcb_shape_get_rectangles_rectangles(reply.get());
            for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i) {
                rects << QRect(r[i].x, r[i].y, r[i].width, r[i].height);
            }
        }
        return rects;
    };
    EXPECT_EQ(inputShape(), QList<QRect>{QRect(0, 0, 40, 40)});
    traits.setInputRegion(*widget.windowHandle(), QRegion(2, 3, 4, 5) + QRegion(20, 3, 6, 5));
    EXPECT_EQ(inputShape(), (QList<QRect>{QRect(2, 3, 4, 5), QRect(20, 3, 6, 5)}));
    traits.setInputRegion(*widget.windowHandle(), QRegion());
    EXPECT_TRUE(inputShape().isEmpty()) << "every click passes";

    // Shown again, the window keeps its shape, though the window manager frames it anew.
    traits.setInputRegion(*widget.windowHandle(), QRegion(1, 1, 2, 2));
    widget.hide();
    widget.show();
    EXPECT_TRUE(spinUntil([&] { return widget.windowHandle()->isExposed(); }));
    spinFor(200);
    EXPECT_EQ(inputShape(), QList<QRect>{QRect(1, 1, 2, 2)});

    const auto states = [&] {
        QList<QByteArray> names;
        x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection,
            xcb_get_property(connection, 0, window, x11::atom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 0,
                             64),
            nullptr));
        if (reply && reply->format == 32) {
            const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
            for (int i = 0; i < xcb_get_property_value_length(reply.get()) / 4; ++i) {
                names << x11::atomName(connection, atoms[i]);
            }
        }
        return names;
    };
    traits.keepOffTaskbar(*widget.windowHandle());
    EXPECT_TRUE(spinUntil([&] {
        const auto now = states();
        return now.contains("_NET_WM_STATE_SKIP_TASKBAR") && now.contains("_NET_WM_STATE_SKIP_PAGER");
    }));
}

TEST_F(X11Test, EachSwitchIsToldAndTheWindowInFrontNamesItsApplicationPidAndTitle) {
    TestEnvironment::freshSettings();
    // Only the entries written here, whatever the machine has.
    const ScopedVariable systemData("XDG_DATA_DIRS", TestEnvironment::root() + "/system-data");
    const auto restoreClock = qScopeGuard([] { base::Clock::setSource({}); });
    const QString applications = TestEnvironment::root() + "/data/applications";
    QDir(applications).removeRecursively();
    writeDesktopEntry(applications + "/alpha-notes.desktop",
                      "Name=Alpha Notes\nName[et]=Alfa m\xc3\xa4rkmik\nStartupWMClass=alphaterm");
    // The instance names an entry only as written: this is not Betaterm's.
    writeDesktopEntry(applications + "/terminal.desktop", "Name=Terminal\nStartupWMClass=vendor-beta");

    Terminal alpha({"-class", "Alphaterm", "-title", "Alpha notes"});
    Terminal beta({"-class", "Betaterm", "-name", "Vendor-Beta", "-title", "Beta log"});
    ASSERT_NE(alpha.window, XCB_WINDOW_NONE);
    ASSERT_NE(beta.window, XCB_WINDOW_NONE);
    ASSERT_TRUE(beta.activate());
    X11ActiveWindow active(connection, false);
    int activations = 0;
    active.onActivate = [&] { ++activations; };

    ASSERT_TRUE(alpha.activate());
    EXPECT_TRUE(spinUntil([&] { return activations == 1; }));
    EXPECT_EQ(active.frontmost(), (FrontApplication{"Alphaterm", "Alpha Notes", alpha.pid()}));
    EXPECT_EQ(active.focusedWindowTitle(), QString("Alpha notes"));
    Settings::setValue(Settings::Key::language, "et");
    EXPECT_EQ(active.frontmost()->name, QString("Alpha Notes"))
        << "the desktop's language names it; the program's may change at any time";
    ASSERT_TRUE(beta.activate());
    EXPECT_TRUE(spinUntil([&] { return activations == 2; }));
    EXPECT_EQ(active.frontmost(), (FrontApplication{"Betaterm", "Betaterm", beta.pid()})) << "no entry";
    EXPECT_EQ(active.focusedWindowTitle(), QString("Beta log"));

    // The window manager naming the same window again is no switch.
    setActiveWindow(connection, beta.window);
    spinFor(200);
    EXPECT_EQ(activations, 2);

    // An entry installed while the program runs is found at the next look a few minutes on;
    // its id is its path below the folder, and matches the instance.
    writeDesktopEntry(applications + "/vendor/beta.desktop", "Name=Beta Console");
    EXPECT_EQ(active.frontmost()->name, QString("Betaterm")) << "the folders were read a moment ago";
    const QDateTime later = QDateTime::currentDateTimeUtc().addSecs(5 * 60 + 1);
    base::Clock::setSource([later] { return later; });
    EXPECT_EQ(active.frontmost()->name, QString("Beta Console"));

    // The UTF-8 title wins over the old one, trimmed and cut, never inside a surrogate pair.
    setProperty(connection, beta.window, "_NET_WM_NAME", "UTF8_STRING",
                " \n M\xc3\xa4rkmed \xe2\x80\x94 \xc3\xbcle \xf0\x9f\x98\x80\t\n");
    EXPECT_EQ(active.focusedWindowTitle(),
              QString::fromUtf8("M\xc3\xa4rkmed \xe2\x80\x94 \xc3\xbcle \xf0\x9f\x98\x80"));
    setProperty(connection, beta.window, "_NET_WM_NAME", "UTF8_STRING", "  " + QByteArray(300, 'y'));
    EXPECT_EQ(active.focusedWindowTitle(), QString(200, 'y'));
    setProperty(connection, beta.window, "_NET_WM_NAME", "UTF8_STRING",
                QByteArray(199, 'x') + "\xf0\x9f\x98\x80" + "tail");
    EXPECT_EQ(active.focusedWindowTitle(), QString(199, 'x'));
    xcb_delete_property(connection, beta.window, x11::atom(connection, "_NET_WM_NAME"));
    setProperty(connection, beta.window, "WM_NAME", "STRING", "Caf\xe9");
    EXPECT_EQ(active.focusedWindowTitle(), QString::fromUtf8("Caf\xc3\xa9"));
    setProperty(connection, beta.window, "WM_NAME", "COMPOUND_TEXT", "main \x1b%G\xe2\x80\x94\x1b%@ caf\xe9");
    EXPECT_EQ(active.focusedWindowTitle(), QString::fromUtf8("main \xe2\x80\x94 caf\xc3\xa9"));
    setProperty(connection, beta.window, "WM_NAME", "STRING", " \n ");
    EXPECT_EQ(active.focusedWindowTitle(), std::nullopt);

    // A dialog without a class is its owner's; it does not say its pid.
    OtherClient other;
    ASSERT_TRUE(other.ok());
    const xcb_window_t dialog = other.showDialog(alpha.window);
    ASSERT_TRUE(spinUntil([&] {
        return runs("xdotool", {"windowactivate", "--sync", QString::number(dialog)});
    }));
    EXPECT_TRUE(spinUntil([&] { return activations == 3; }));
    EXPECT_EQ(active.frontmost(), (FrontApplication{"Alphaterm", "Alpha Notes", 0}));

    // No X window in front: nothing to name, and on a Wayland session nothing can be seen.
    X11ActiveWindow underWayland(connection, true);
    EXPECT_TRUE(underWayland.canSeeFront());
    EXPECT_EQ(underWayland.sight(), (Sight{Sight::Reach::x11Windows, Sight::Cause::compositorSilent}));
    EXPECT_EQ(active.sight(), Sight{});
    setActiveWindow(connection, XCB_WINDOW_NONE);
    EXPECT_EQ(active.frontmost(), std::nullopt);
    EXPECT_EQ(active.focusedWindowTitle(), std::nullopt);
    EXPECT_TRUE(active.canSeeFront()) << "the bare desktop of an X session";
    EXPECT_FALSE(underWayland.canSeeFront());
    spinFor(200);
    EXPECT_EQ(activations, 3);
    setActiveWindow(connection, beta.window);
    EXPECT_TRUE(spinUntil([&] { return activations == 4; })) << "back from no window";
}

TEST_F(X11Test, IdleTimeCountsFromTheLastInputAndTheScreenSaverIsSeen) {
    X11IdleTime idle(connection);
    ASSERT_TRUE(runs("xdotool", {"mousemove", "20", "30"}));
    ASSERT_TRUE(runs("xdotool", {"mousemove", "40", "50"}));
    const double moved = idle.secondsSinceLastInput();
    spinFor(1500);
    const double resting = idle.secondsSinceLastInput();
    EXPECT_GT(resting, moved);
    ASSERT_TRUE(runs("xdotool", {"mousemove", "60", "70"}));
    EXPECT_LT(idle.secondsSinceLastInput(), resting);

    EXPECT_FALSE(idle.isScreenSaverOn());
    OtherClient other;
    ASSERT_TRUE(other.ok());
    xcb_force_screen_saver(other.connection, XCB_SCREEN_SAVER_ACTIVE);
    xcb_flush(other.connection);
    EXPECT_TRUE(spinUntil([&] { return idle.isScreenSaverOn(); }));
    xcb_force_screen_saver(other.connection, XCB_SCREEN_SAVER_RESET);
    xcb_flush(other.connection);
    EXPECT_TRUE(spinUntil([&] { return !idle.isScreenSaverOn(); }));
}
