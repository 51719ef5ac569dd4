#pragma once

#include "platform/HotKeyGrabber.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <map>
#include <vector>

#include <xcb/xcb.h>

namespace platform {

// Control+Alt combinations grabbed on the root window. Each is grabbed also with NumLock and
// CapsLock held, since X counts those as modifiers too and a lit NumLock would otherwise hide
// every press. Presses arrive through a native event filter and run on the next turn of the loop;
// a key held down acts once, however often it repeats.
class X11HotKeys final : public HotKeyGrabber, public QAbstractNativeEventFilter {
public:
    // waylandSession: the X server is a Wayland desktop's Xwayland, which hears keys only while
    // one of its own windows has the keyboard.
    explicit X11HotKeys(xcb_connection_t* connection, bool waylandSession = false);
    ~X11HotKeys() override;

    int grab(unsigned keysym, const QString& description, std::function<void()> fn) override;
    void release(int id) override;
    Reach reach() override { return waylandSession ? Reach::x11Windows : Reach::everyWindow; }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    bool waylandSession;
    struct Grab {
        xcb_keycode_t keycode;
        std::vector<std::uint16_t> modifiers; // the combinations that the server granted
        std::function<void()> fn;
        bool held = false;
        xcb_timestamp_t releasedAt = XCB_CURRENT_TIME; // no event carries this time
    };

    bool pressed(const xcb_key_press_event_t& press);
    void released(const xcb_key_release_event_t& release);

    xcb_keycode_t keycode(unsigned keysym) const;
    std::uint16_t numLockMask() const;

    xcb_connection_t* connection;
    xcb_window_t root;
    std::uint16_t numLock;
    std::map<int, Grab> grabs;
    int next = 1;
    QObject receiver; // queued presses die with the grabber
};

} // namespace platform
