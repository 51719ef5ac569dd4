#include "platform/linux/X11ActiveWindow.h"

#include "base/Text.h"
#include "platform/linux/CompoundText.h"
#include "platform/linux/X11.h"

#include <QCoreApplication>
#include <QMetaObject>

#include <cstring>

namespace platform {
namespace {

constexpr qsizetype maxTitleLength = 200;
// Enough for 200 characters of four bytes each, and whitespace around them.
constexpr std::uint32_t titleWords = 1024;

struct Property {
    xcb_atom_t type = XCB_ATOM_NONE;
    QByteArray bytes;
};

xcb_get_property_cookie_t ask(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                              std::uint32_t words) {
    return xcb_get_property(c, 0, window, property, type, 0, words);
}

// The window may have gone since it was named; that error only means nothing is known.
Property answer(xcb_connection_t* c, xcb_get_property_cookie_t cookie) {
    xcb_generic_error_t* error = nullptr;
    x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, &error));
    std::free(error);
    if (!reply) {
        return {};
    }
    const auto* value = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return {reply->type, QByteArray(value, xcb_get_property_value_length(reply.get()))};
}

std::uint32_t firstWord(const Property& property) {
    std::uint32_t word = 0;
    if (property.bytes.size() >= qsizetype(sizeof word)) {
        std::memcpy(&word, property.bytes.constData(), sizeof word);
    }
    return word;
}

struct WindowClass {
    QString instance;
    QString name;
};

// WM_CLASS holds two Latin-1 strings, each ended by a zero byte: the instance, then the class.
std::optional<WindowClass> windowClass(const Property& property) {
    const QList<QByteArray> parts = property.bytes.split('\0');
    WindowClass out{QString::fromLatin1(parts.value(0)), QString::fromLatin1(parts.value(1))};
    if (out.instance.isEmpty() && out.name.isEmpty()) {
        return std::nullopt;
    }
    return out;
}

// Trimmed, empty as none, and cut to the length kept without splitting a surrogate pair.
std::optional<QString> shortened(const QString& title) {
    const QString out = title.trimmed();
    if (out.isEmpty()) {
        return std::nullopt;
    }
    return base::truncated(out, maxTitleLength);
}

} // namespace

X11ActiveWindow::X11ActiveWindow(xcb_connection_t* c, bool wayland)
    : connection(c), root(x11::rootWindow(c)), activeAtom(x11::atom(c, "_NET_ACTIVE_WINDOW")),
      pidAtom(x11::atom(c, "_NET_WM_PID")), nameAtom(x11::atom(c, "_NET_WM_NAME")),
      utf8Atom(x11::atom(c, "UTF8_STRING")), waylandSession(wayland), known(activeWindow()) {
    // Qt listens to the root's property changes too, so the mask only ever gains the bit.
    x11::Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, root), nullptr));
    if (attributes && !(attributes->your_event_mask & XCB_EVENT_MASK_PROPERTY_CHANGE)) {
        const std::uint32_t mask = attributes->your_event_mask | XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection);
    }
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11ActiveWindow::~X11ActiveWindow() {
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
}

bool X11ActiveWindow::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (x11::eventCode(event) != XCB_PROPERTY_NOTIFY) {
        return false;
    }
    const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
    // The value is read on the next turn of the loop, once for a burst of changes, and not
    // while Qt is still handing out events.
    if (notify->window == root && notify->atom == activeAtom && !checkQueued) {
        checkQueued = true;
        QMetaObject::invokeMethod(
            &receiver, [this] { activeMayHaveChanged(); }, Qt::QueuedConnection);
    }
    return false;
}

void X11ActiveWindow::activeMayHaveChanged() {
    checkQueued = false;
    const xcb_window_t now = activeWindow();
    // Window managers set the property again for a window that already has the focus.
    if (now == known) {
        return;
    }
    known = now;
    if (now != XCB_WINDOW_NONE && onActivate) {
        onActivate();
    }
}

xcb_window_t X11ActiveWindow::activeWindow() const {
    return firstWord(answer(connection, ask(connection, root, activeAtom, XCB_ATOM_WINDOW, 1)));
}

std::optional<FrontApplication> X11ActiveWindow::frontmost() {
    const xcb_window_t window = activeWindow();
    if (window == XCB_WINDOW_NONE) {
        return std::nullopt;
    }
    const auto pidCookie = ask(connection, window, pidAtom, XCB_ATOM_CARDINAL, 1);
    const auto classCookie = ask(connection, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 256);
    const auto transientCookie = ask(connection, window, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 1);
    FrontApplication front;
    front.pid = firstWord(answer(connection, pidCookie));
    auto names = windowClass(answer(connection, classCookie));
    // A dialog may leave its class to the window it belongs to.
    const xcb_window_t owner = firstWord(answer(connection, transientCookie));
    if (!names && owner != XCB_WINDOW_NONE) {
        names =
            windowClass(answer(connection, ask(connection, owner, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 256)));
    }
    if (names) {
        front.identifier = names->name.isEmpty() ? names->instance : names->name;
        front.name = entries.name(names->name, names->instance, DesktopEntries::desktopLanguage())
                         .value_or(front.identifier);
    }
    return front;
}

std::optional<QString> X11ActiveWindow::focusedWindowTitle() {
    const xcb_window_t window = activeWindow();
    if (window == XCB_WINDOW_NONE) {
        return std::nullopt;
    }
    const auto netCookie = ask(connection, window, nameAtom, utf8Atom, titleWords);
    const auto plainCookie = ask(connection, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, titleWords);
    const Property net = answer(connection, netCookie);
    const Property plain = answer(connection, plainCookie);
    if (!net.bytes.isEmpty()) {
        return shortened(QString::fromUtf8(net.bytes));
    }
    // Older clients: Latin-1, compound text, or UTF-8 when the property says so.
    if (plain.type == utf8Atom) {
        return shortened(QString::fromUtf8(plain.bytes));
    }
    if (plain.type == x11::atom(connection, "COMPOUND_TEXT")) {
        return shortened(x11::compoundText(plain.bytes));
    }
    return shortened(QString::fromLatin1(plain.bytes));
}

bool X11ActiveWindow::canSeeFront() {
    return !waylandSession || activeWindow() != XCB_WINDOW_NONE;
}

Sight X11ActiveWindow::sight() {
    if (waylandSession) {
        return {Sight::Reach::x11Windows, Sight::Cause::compositorSilent};
    }
    return {};
}

} // namespace platform
