#include "platform/linux/X11HotKeys.h"

#include "platform/linux/X11.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace platform {
namespace {

constexpr std::uint16_t controlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
constexpr unsigned numLockKeysym = 0xff7f;

} // namespace

X11HotKeys::X11HotKeys(xcb_connection_t* c, bool wayland)
    : waylandSession(wayland), connection(c), root(x11::rootWindow(c)), numLock(numLockMask()) {
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11HotKeys::~X11HotKeys() {
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
    while (!grabs.empty()) {
        release(grabs.begin()->first);
    }
}

xcb_keycode_t X11HotKeys::keycode(unsigned keysym) const {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const xcb_keycode_t first = setup->min_keycode;
    const int count = setup->max_keycode - setup->min_keycode + 1;
    x11::Reply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, first, static_cast<std::uint8_t>(count)), nullptr));
    if (!reply || reply->keysyms_per_keycode == 0) {
        return 0;
    }
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(reply.get());
    const int perKey = reply->keysyms_per_keycode;
    const int total = xcb_get_keyboard_mapping_keysyms_length(reply.get());
    for (int i = 0; i < total; ++i) {
        if (keysyms[i] == keysym) {
            return static_cast<xcb_keycode_t>(first + i / perKey);
        }
    }
    return 0;
}

std::uint16_t X11HotKeys::numLockMask() const {
    const xcb_keycode_t numLockKey = keycode(numLockKeysym);
    x11::Reply<xcb_get_modifier_mapping_reply_t> reply(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    if (numLockKey != 0 && reply) {
        const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(reply.get());
        const int perModifier = reply->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                if (keys[modifier * perModifier + i] == numLockKey) {
                    return static_cast<std::uint16_t>(1u << modifier);
                }
            }
        }
    }
    return XCB_MOD_MASK_2; // where nearly every keyboard map puts it
}

int X11HotKeys::grab(unsigned keysym, const QString&, std::function<void()> fn) {
    const xcb_keycode_t key = keycode(keysym);
    if (key == 0) {
        return 0;
    }
    const std::uint16_t variants[] = {
        controlAlt,
        static_cast<std::uint16_t>(controlAlt | numLock),
        static_cast<std::uint16_t>(controlAlt | XCB_MOD_MASK_LOCK),
        static_cast<std::uint16_t>(controlAlt | numLock | XCB_MOD_MASK_LOCK),
    };
    std::vector<xcb_void_cookie_t> cookies;
    for (const auto modifiers : variants) {
        // Reported on the root window even when one of our own windows has the focus.
        cookies.push_back(xcb_grab_key_checked(connection, 0, root, modifiers, key, XCB_GRAB_MODE_ASYNC,
                                               XCB_GRAB_MODE_ASYNC));
    }
    Grab grab{key, {}, std::move(fn)};
    bool plain = false;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        // BadAccess: another client holds this combination.
        x11::Reply<xcb_generic_error_t> error(xcb_request_check(connection, cookies[i]));
        if (!error) {
            grab.modifiers.push_back(variants[i]);
            plain = plain || i == 0;
        }
    }
    if (!plain) {
        for (const auto modifiers : grab.modifiers) {
            xcb_ungrab_key(connection, key, root, modifiers);
        }
        xcb_flush(connection);
        return 0;
    }
    const int id = next++;
    grabs.emplace(id, std::move(grab));
    return id;
}

void X11HotKeys::release(int id) {
    const auto it = grabs.find(id);
    if (it == grabs.end()) {
        return;
    }
    for (const auto modifiers : it->second.modifiers) {
        xcb_ungrab_key(connection, it->second.keycode, root, modifiers);
    }
    xcb_flush(connection);
    grabs.erase(it);
}

bool X11HotKeys::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (x11::eventCode(event)) {
    case XCB_KEY_PRESS:
        return pressed(*reinterpret_cast<const xcb_key_press_event_t*>(event));
    case XCB_KEY_RELEASE:
        released(*reinterpret_cast<const xcb_key_release_event_t*>(event));
        return false;
    default:
        return false;
    }
}

bool X11HotKeys::pressed(const xcb_key_press_event_t& press) {
    if (press.event != root) {
        return false;
    }
    const auto held = static_cast<std::uint16_t>(press.state & ~(numLock | XCB_MOD_MASK_LOCK) & 0xff);
    if (held != controlAlt) {
        return false;
    }
    for (auto& [id, grab] : grabs) {
        if (grab.keycode == press.detail) {
            // A held key repeats: with detectable auto-repeat as presses without releases, otherwise
            // as releases each followed by a press of the same moment.
            const bool repeat = grab.held || press.time == grab.releasedAt;
            grab.held = true;
            if (!repeat) {
                QMetaObject::invokeMethod(&receiver, grab.fn, Qt::QueuedConnection);
            }
            return true;
        }
    }
    return false;
}

void X11HotKeys::released(const xcb_key_release_event_t& release) {
    // Taken wherever it lands: a popup of ours may hold the keyboard by the time the key comes up.
    for (auto& [id, grab] : grabs) {
        if (grab.keycode == release.detail) {
            grab.held = false;
            grab.releasedAt = release.time;
        }
    }
}

} // namespace platform
