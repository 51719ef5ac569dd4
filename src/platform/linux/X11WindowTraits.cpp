#include "platform/linux/X11WindowTraits.h"

#include "platform/linux/X11.h"

#include <QCoreApplication>
#include <QWindow>

#include <xcb/xfixes.h>

#include <algorithm>
#include <vector>

namespace platform {

X11WindowTraits::X11WindowTraits(xcb_connection_t* c) : connection(c), canShape(false) {
    // Input shapes came with XFixes 2.
    const auto* extension = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (extension && extension->present) {
        x11::Reply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
            connection,
            xcb_xfixes_query_version(connection, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION),
            nullptr));
        canShape = version && version->major_version >= 2;
    }
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11WindowTraits::~X11WindowTraits() {
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
}

void X11WindowTraits::setInputRegion(QWindow& window, const QRegion& region) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    const qreal ratio = window.devicePixelRatio();
    QRegion device;
    for (const QRect& r : region) {
        device += QRectF(QPointF(r.topLeft()) * ratio, QSizeF(r.size()) * ratio).toAlignedRect();
    }
    regions.insert(id, device);
    applyShape(id);
}

void X11WindowTraits::applyShape(xcb_window_t window) {
    const auto shaped = regions.constFind(window);
    if (!canShape || shaped == regions.constEnd()) {
        return;
    }
    std::vector<xcb_rectangle_t> rectangles;
    rectangles.reserve(static_cast<std::size_t>(shaped->rectCount()));
    for (const QRect& r : *shaped) {
        rectangles.push_back({static_cast<int16_t>(r.x()), static_cast<int16_t>(r.y()),
                              static_cast<uint16_t>(r.width()), static_cast<uint16_t>(r.height())});
    }
    const xcb_xfixes_region_t region = xcb_generate_id(connection);
    xcb_xfixes_create_region(connection, region, static_cast<std::uint32_t>(rectangles.size()),
                             rectangles.data());
    xcb_xfixes_set_window_shape_region(connection, window, XCB_SHAPE_SK_INPUT, 0, 0, region);
    xcb_xfixes_destroy_region(connection, region);
    xcb_flush(connection);
}

void X11WindowTraits::keepOffTaskbar(QWindow& window) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_atom_t state = x11::atom(connection, "_NET_WM_STATE");
    const xcb_atom_t wanted[] = {x11::atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                 x11::atom(connection, "_NET_WM_STATE_SKIP_PAGER")};

    // Not yet shown: the window manager reads the property when it takes the window on.
    std::vector<xcb_atom_t> atoms;
    x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, id, state, XCB_ATOM_ATOM, 0, 1024), nullptr));
    if (reply && reply->format == 32) {
        const auto* values = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        atoms.assign(values, values + xcb_get_property_value_length(reply.get()) / 4);
    }
    for (const auto atom : wanted) {
        if (std::find(atoms.begin(), atoms.end(), atom) == atoms.end()) {
            atoms.push_back(atom);
        }
    }
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, state, XCB_ATOM_ATOM, 32,
                        static_cast<std::uint32_t>(atoms.size()), atoms.data());

    // Shown: it has to be asked.
    x11::Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, id), nullptr));
    if (attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = id;
        message.type = state;
        message.data.data32[0] = 1; // add
        message.data.data32[1] = wanted[0];
        message.data.data32[2] = wanted[1];
        message.data.data32[3] = 1; // from an application
        xcb_send_event(connection, 0, x11::rootWindow(connection),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
    }
    xcb_flush(connection);
}

bool X11WindowTraits::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t" || regions.isEmpty()) {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const auto code = x11::eventCode(event);
    if (code == XCB_MAP_NOTIFY) {
        const auto window = reinterpret_cast<const xcb_map_notify_event_t*>(event)->window;
        if (regions.contains(window)) {
            applyShape(window);
        }
    } else if (code == XCB_DESTROY_NOTIFY) {
        const auto window = reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window;
        regions.remove(window);
    }
    return false;
}

} // namespace platform
