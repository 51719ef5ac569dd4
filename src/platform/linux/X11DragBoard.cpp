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

void addType(xcb_connection_t* connection, QStringList& types, xcb_atom_t atom) {
    if (atom == XCB_ATOM_NONE) {
        return;
    }
    const QString type = mimeType(x11::atomName(connection, atom));
    if (!type.isEmpty() && !types.contains(type)) {
        types << type;
    }
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
      selection(x11::atom(c, "XdndSelection")), typeListAtom(x11::atom(c, "XdndTypeList")),
      enterAtom(x11::atom(c, "XdndEnter")) {
    xcb_xfixes_select_selection_input(connection, x11::rootWindow(connection), selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    xcb_flush(connection);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11DragBoard::~X11DragBoard() {
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
    ownerChanged(XCB_WINDOW_NONE);
}

bool X11DragBoard::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const auto code = x11::eventCode(event);
    if (code == selectionNotify) {
        const auto* notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
        if (notify->selection == selection) {
            ownerChanged(notify->owner);
            ++count;
        }
    } else if (code == XCB_PROPERTY_NOTIFY) {
        const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
        if (notify->window == owner && notify->atom == typeListAtom) {
            listRead = false;
        }
    } else if (code == XCB_CLIENT_MESSAGE) {
        const auto* enter = reinterpret_cast<const xcb_client_message_event_t*>(event);
        // Only the source of this drag names its types; an earlier one's late message does not.
        if (enter->type == enterAtom && enter->format == 32 && owner != XCB_WINDOW_NONE &&
            enter->data.data32[0] == owner) {
            // Bit 0 of the flags: more than three types, listed on the source's window.
            if (enter->data.data32[1] & 1) {
                listRead = false;
            }
            entered.clear();
            for (int i = 2; i < 5; ++i) {
                addType(connection, entered, enter->data.data32[i]);
            }
        }
    }
    // Qt watches selections and takes drops through the same kinds of event.
    return false;
}

void X11DragBoard::ownerChanged(xcb_window_t window) {
    if (watched != XCB_WINDOW_NONE) {
        watch(watched, restoreMask);
        watched = XCB_WINDOW_NONE;
    }
    owner = window;
    listRead = false;
    listed.clear();
    entered.clear();
    if (owner == XCB_WINDOW_NONE) {
        return;
    }
    // Told of the owner's property changes from now on, a list set after this is never missed:
    // either the first read finds it or a PropertyNotify follows. The owner may be a window
    // that this client already watches; its mask is kept as it was.
    xcb_generic_error_t* error = nullptr;
    x11::Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, owner), &error));
    std::free(error);
    if (attributes && !(attributes->your_event_mask & XCB_EVENT_MASK_PROPERTY_CHANGE)) {
        restoreMask = attributes->your_event_mask;
        watched = owner;
        watch(watched, restoreMask | XCB_EVENT_MASK_PROPERTY_CHANGE);
    }
}

void X11DragBoard::watch(xcb_window_t window, std::uint32_t mask) {
    // The source may be gone already; the error that would bring is of no interest.
    const auto cookie = xcb_change_window_attributes_checked(connection, window, XCB_CW_EVENT_MASK, &mask);
    xcb_discard_reply(connection, cookie.sequence);
    xcb_flush(connection);
}

QStringList X11DragBoard::types() {
    if (!listRead && owner != XCB_WINDOW_NONE) {
        listed = typeList();
        listRead = true;
    }
    return listed.isEmpty() ? entered : listed;
}

QStringList X11DragBoard::typeList() {
    QStringList out;
    const auto cookie = xcb_get_property(connection, 0, owner, typeListAtom, XCB_ATOM_ATOM, 0, 1024);
    xcb_generic_error_t* error = nullptr;
    x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, &error));
    std::free(error);
    if (reply && reply->format == 32) {
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        const int n = xcb_get_property_value_length(reply.get()) / 4;
        for (int i = 0; i < n; ++i) {
            addType(connection, out, atoms[i]);
        }
    }
    return out;
}

} // namespace platform
