#include "platform/linux/X11Pointer.h"

#include "platform/linux/X11.h"

#include <QGuiApplication>
#include <QPointF>

namespace platform {

X11Pointer::X11Pointer(xcb_connection_t* c) : connection(c), root(x11::rootWindow(c)) {}

Pointer::State X11Pointer::state() {
    x11::Reply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(connection, xcb_query_pointer(connection, root), nullptr));
    if (!reply) {
        return {};
    }
    Qt::MouseButtons buttons;
    if (reply->mask & XCB_BUTTON_MASK_1) {
        buttons |= Qt::LeftButton;
    }
    if (reply->mask & XCB_BUTTON_MASK_2) {
        buttons |= Qt::MiddleButton;
    }
    if (reply->mask & XCB_BUTTON_MASK_3) {
        buttons |= Qt::RightButton;
    }
    // The server counts device pixels; Qt's coordinates are scaled by the ratio.
    const double ratio = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    return {(QPointF(reply->root_x, reply->root_y) / ratio).toPoint(), buttons};
}

} // namespace platform
