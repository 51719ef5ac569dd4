#include "platform/linux/X11.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QHash>

namespace platform::x11 {
xcb_connection_t* connection() {
    auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (!app) {
        return nullptr;
    }
    auto* x11 = app->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_window_t rootWindow(xcb_connection_t* connection) {
    const auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    return screens.rem > 0 ? screens.data->root : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    static QHash<QByteArray, xcb_atom_t> known;
    const QByteArray key(name);
    if (const auto it = known.constFind(key); it != known.constEnd()) {
        return *it;
    }
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(key.size()), name);
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    const xcb_atom_t value = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    if (value != XCB_ATOM_NONE) {
        known.insert(key, value);
    }
    return value;
}

QByteArray atomName(xcb_connection_t* connection, xcb_atom_t atom) {
    static QHash<xcb_atom_t, QByteArray> known;
    if (const auto it = known.constFind(atom); it != known.constEnd()) {
        return *it;
    }
    Reply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, atom), nullptr));
    if (!reply) {
        return {};
    }
    QByteArray name(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()));
    known.insert(atom, name);
    return name;
}

} // namespace platform::x11
