#pragma once

#include "platform/ActiveWindow.h"
#include "platform/linux/DesktopEntries.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <xcb/xcb.h>

namespace platform {

// The window that the window manager names in _NET_ACTIVE_WINDOW on the root window. Its
// changes arrive as property events, so nothing is polled; what the window is, its class, pid
// and title, is read from the server only when asked. The shown name comes from the desktop
// entry that claims the window's class.
class X11ActiveWindow final : public ActiveWindow, public QAbstractNativeEventFilter {
public:
    // waylandSession: the X server is the Xwayland of a Wayland desktop, which names no X window
    // while one of its own windows has the focus.
    X11ActiveWindow(xcb_connection_t* connection, bool waylandSession);
    ~X11ActiveWindow() override;

    std::optional<FrontApplication> frontmost() override;
    std::optional<QString> focusedWindowTitle() override;
    bool canSeeFront() override;
    Sight sight() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    xcb_window_t activeWindow() const;
    void activeMayHaveChanged();

    xcb_connection_t* connection;
    xcb_window_t root;
    xcb_atom_t activeAtom;
    xcb_atom_t pidAtom;
    xcb_atom_t nameAtom;
    xcb_atom_t utf8Atom;
    bool waylandSession;
    xcb_window_t known;
    bool checkQueued = false;
    DesktopEntries entries;
    QObject receiver; // queued checks die with the object
};

} // namespace platform
