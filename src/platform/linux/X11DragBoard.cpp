#include "platform/linux/X11DragBoard.h"

#include "platform/linux/X11.h"

#include <QCoreApplication>

#include <xcb/xfixes.h>

namespace platform {
namespace {

// Sources that speak only the old X names for text.
QString mimeType(const QByteArray& target) {
    if (target == "UTF8_STRING" || target == "STRING" || target == "TEXT" || target == "COMPOUND_TEXT") {
        return QStringLiteral("text/plain");
    }
    return QString::fromLatin1(target);
}

} // namespace

std::shared_ptr<X11DragBoard> X11DragBoard::create(xcb_connection_t* connection) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (!extension || !extension->present) {
        return nullptr;
    }
    x11::Reply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        connection, xcb_xfixes_query_version(connection, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION),
        nullptr));
    if (!version || version->major_version < 1) {
        return nullptr;
    }
    return std::make_shared<X11DragBoard>(connection, extension->first_event);
}

X11DragBoard::X11DragBoard(xcb_connection_t* c, std::uint8_t firstXFixesEvent)
    : connection(c), selectionNotify(firstXFixesEvent + XCB_XFIXES_SELECTION_NOTIFY),
      selection(x11::atom(c, "XdndSelection")) {
    xcb_xfixes_select_selection_input(connection, x11::rootWindow(connection), selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    xcb_flush(connection);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11DragBoard::~X11DragBoard() {
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
}

bool X11DragBoard::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (x11::eventCode(event) != selectionNotify) {
        return false;
    }
    const auto* notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
    if (notify->selection == selection) {
        owner = notify->owner;
        known.reset();
        ++count;
    }
    // Qt watches other selections through the same kind of event.
    return false;
}

QStringList X11DragBoard::types() {
    if (known) {
        return *known;
    }
    QStringList out;
    if (owner != XCB_WINDOW_NONE) {
        const auto cookie = xcb_get_property(connection, 0, owner, x11::atom(connection, "XdndTypeList"),
                                             XCB_ATOM_ATOM, 0, 1024);
        x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
        if (reply && reply->format == 32) {
            const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
            const int n = xcb_get_property_value_length(reply.get()) / 4;
            for (int i = 0; i < n; ++i) {
                const QString type = mimeType(x11::atomName(connection, atoms[i]));
                if (!type.isEmpty() && !out.contains(type)) {
                    out << type;
                }
            }
        }
    }
    // A source may set its list a moment after taking the selection: an empty answer is asked again.
    if (!out.isEmpty()) {
        known = out;
    }
    return out;
}

} // namespace platform
