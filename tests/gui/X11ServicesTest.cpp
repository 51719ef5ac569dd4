#include "platform/linux/X11.h"
#include "platform/linux/X11DragBoard.h"
#include "platform/linux/X11HotKeys.h"
#include "platform/linux/X11Pointer.h"
#include "platform/linux/X11WindowTraits.h"
#include "support/SpinUntil.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QCursor>
#include <QProcess>
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

    xcb_connection_t* connection;
};

bool runs(const QString& program, const QStringList& arguments) {
    return QProcess::execute(program, arguments) == 0;
}

class X11Test : public ::testing::Test {
protected:
    void SetUp() override {
        connection = x11::connection();
        if (!connection) {
            GTEST_SKIP() << "not on X11";
        }
    }
    xcb_connection_t* connection = nullptr;
};

} // namespace

TEST_F(X11Test, ThePointerIsWhereTheServerSaysWithItsButtons) {
    X11Pointer pointer(connection);
    // Pressed over a window of ours: on the bare desktop the window manager would take the press.
    QWidget target;
    target.setGeometry(100, 200, 100, 100);
    target.show();
    ASSERT_TRUE(spinUntil([&] { return target.windowHandle()->isExposed(); }));
    QCursor::setPos(123, 234);
    EXPECT_TRUE(spinUntil([&] { return pointer.position() == QPoint(123, 234); }));
    EXPECT_EQ(pointer.buttons(), Qt::NoButton);
    ASSERT_TRUE(runs("xdotool", {"mousedown", "1"}));
    EXPECT_TRUE(spinUntil([&] { return pointer.state().buttons == Qt::LeftButton; }));
    ASSERT_TRUE(runs("xdotool", {"mouseup", "1"}));
    EXPECT_TRUE(spinUntil([&] { return pointer.buttons() == Qt::NoButton; }));
}

TEST_F(X11Test, EachNewDragIsCountedAndItsTypesReadFromTheSource) {
    auto board = X11DragBoard::create(connection);
    ASSERT_TRUE(board) << "Xvfb has XFixes";
    EXPECT_EQ(board->changeCount(), 0);
    EXPECT_TRUE(board->types().isEmpty());

    OtherClient source;
    ASSERT_TRUE(source.ok());
    const xcb_window_t window = source.makeWindow();
    const xcb_atom_t types[] = {
        x11::atom(source.connection, "text/uri-list"), x11::atom(source.connection, "UTF8_STRING"),
        x11::atom(source.connection, "text/plain"), x11::atom(source.connection, "application/x-private")};
    xcb_change_property(source.connection, XCB_PROP_MODE_REPLACE, window,
                        x11::atom(source.connection, "XdndTypeList"), XCB_ATOM_ATOM, 32, 4, types);
    xcb_set_selection_owner(source.connection, window, x11::atom(source.connection, "XdndSelection"),
                            XCB_CURRENT_TIME);
    xcb_flush(source.connection);
    ASSERT_TRUE(spinUntil([&] { return board->changeCount() == 1; }));
    EXPECT_EQ(board->types(), (QStringList{"text/uri-list", "text/plain", "application/x-private"}));

    // The same source starting another drag counts again.
    xcb_set_selection_owner(source.connection, window, x11::atom(source.connection, "XdndSelection"),
                            XCB_CURRENT_TIME);
    xcb_flush(source.connection);
    EXPECT_TRUE(spinUntil([&] { return board->changeCount() == 2; }));
}

TEST_F(X11Test, ShortcutsFireWithAndWithoutNumLockAndOneHeldElsewhereFailsAlone) {
    OtherClient other;
    ASSERT_TRUE(other.ok());
    X11HotKeys keys(connection);
    int pressed7 = 0;
    const int seven = keys.grab(0x37, [&] { ++pressed7; });
    ASSERT_NE(seven, 0);

    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    EXPECT_TRUE(spinUntil([&] { return pressed7 == 1; }));
    ASSERT_TRUE(runs("xdotool", {"key", "Num_Lock"}));
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    const bool withNumLock = spinUntil([&] { return pressed7 == 2; });
    ASSERT_TRUE(runs("xdotool", {"key", "Num_Lock"}));
    EXPECT_TRUE(withNumLock);

    keys.release(seven);
    ASSERT_TRUE(runs("xdotool", {"key", "ctrl+alt+7"}));
    spinFor(200);
    EXPECT_EQ(pressed7, 2) << "released";

    // xdotool finds the keycode of 8 the same way we do; the other client grabs it first.
    X11HotKeys holder(other.connection);
    ASSERT_NE(holder.grab(0x38, [] {}), 0);
    EXPECT_EQ(keys.grab(0x38, [] {}), 0);
    EXPECT_NE(keys.grab(0x39, [] {}), 0) << "the others are not affected";
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
    ASSERT_NE(keys.grab(0x37, [&] { ++fired; }), 0);
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

TEST_F(X11Test, ClickThroughEmptiesTheInputShapeAndTheTaskbarIsToldToSkipTheWindow) {
    X11WindowTraits traits(connection);
    QWidget widget(nullptr, Qt::FramelessWindowHint | Qt::Tool);
    widget.setGeometry(50, 50, 40, 40);
    widget.winId();
    traits.keepOffTaskbar(*widget.windowHandle());
    widget.show();
    ASSERT_TRUE(spinUntil([&] { return widget.windowHandle()->isExposed(); }));

    const auto window = static_cast<xcb_window_t>(widget.winId());
    const auto inputRectangles = [&] {
        x11::Reply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
            connection, xcb_shape_get_rectangles(connection, window, XCB_SHAPE_SK_INPUT), nullptr));
        return reply ? static_cast<int>(reply->rectangles_len) : -1;
    };
    EXPECT_GT(inputRectangles(), 0);
    traits.setClickThrough(*widget.windowHandle(), true);
    EXPECT_EQ(inputRectangles(), 0);
    traits.setClickThrough(*widget.windowHandle(), false);
    EXPECT_GT(inputRectangles(), 0);

    // Shown again, the window keeps its click-through.
    traits.setClickThrough(*widget.windowHandle(), true);
    widget.hide();
    widget.show();
    spinFor(200);
    EXPECT_EQ(inputRectangles(), 0);

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
