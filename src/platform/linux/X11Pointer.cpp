#include "platform/linux/X11Pointer.h"

#include "platform/linux/X11.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPointF>

#include <xcb/xinput.h>

namespace platform {
namespace {

constexpr int answersFromMemory = 7;

std::uint8_t rawInputOpcode(xcb_connection_t* connection) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_input_id);
    if (!extension || !extension->present) {
        return 0;
    }
    // Qt has declared 2.2 or later on its connection already; asking again changes nothing.
    x11::Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
    // From 2.1 on, raw events come also while another program grabs the pointer, as a drag does.
    const bool raw = version && (version->major_version > 2 ||
                                 (version->major_version == 2 && version->minor_version >= 1));
    return raw ? extension->major_opcode : 0;
}

} // namespace

X11Pointer::X11Pointer(xcb_connection_t* c)
    : connection(c), root(x11::rootWindow(c)), inputOpcode(rawInputOpcode(c)) {
    if (inputOpcode != 0) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
}

X11Pointer::~X11Pointer() {
    if (inputOpcode == 0) {
        return;
    }
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
    if (listening) {
        listen(false);
    }
}

Pointer::State X11Pointer::state() {
    if (known && !moved && fromMemory < answersFromMemory) {
        ++fromMemory;
        return *known;
    }
    // Listening before the question, so that no movement after the answer goes unseen.
    if (inputOpcode != 0 && !listening) {
        listen(true);
    }
    moved = inputOpcode == 0;
    fromMemory = 0;
    known = query();
    return known.value_or(State{});
}

bool X11Pointer::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t" || !listening) {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (x11::eventCode(event) != XCB_GE_GENERIC) {
        return false;
    }
    const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
    if (generic->extension == inputOpcode &&
        (generic->event_type == XCB_INPUT_RAW_MOTION || generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS ||
         generic->event_type == XCB_INPUT_RAW_BUTTON_RELEASE)) {
        moved = true;
        listen(false);
    }
    return false;
}

void X11Pointer::listen(bool on) {
    struct {
        xcb_input_event_mask_t header;
        std::uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
           on ? std::uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
                              XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE}
              : 0u};
    xcb_input_xi_select_events(connection, root, 1, &mask.header);
    xcb_flush(connection);
    listening = on;
}

std::optional<Pointer::State> X11Pointer::query() {
    x11::Reply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(connection, xcb_query_pointer(connection, root), nullptr));
    if (!reply) {
        return std::nullopt;
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
    return State{(QPointF(reply->root_x, reply->root_y) / ratio).toPoint(), buttons};
}

} // namespace platform
